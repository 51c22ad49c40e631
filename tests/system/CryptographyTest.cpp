#include "OS.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <openssl/err.h>
#include <string>
#include <unistd.h>

namespace
{
    iCryptography* crypto() { return OS()->cryptography(); }

    std::string hexOf(const std::string& bytes)
    {
        static const char digits[] = "0123456789abcdef";
        std::string hex;
        for (unsigned char byte : bytes) {
            hex += digits[byte >> 4];
            hex += digits[byte & 15];
        }
        return hex;
    }

    std::string bytesOfHex(const std::string& hex)
    {
        std::string bytes;
        for (size_t i = 0; i + 1 < hex.size(); i += 2)
            bytes += char(std::stoi(hex.substr(i, 2), nullptr, 16));
        return bytes;
    }

    // The used bytes of a result; the buffer is the caller's to free.
    std::string take(const Kv::Ptr<iMemHolder>& result)
    {
        std::string bytes(reinterpret_cast<const char*>(result->getBuffer()), result->getUsed());
        delete[] result->getBuffer();
        return bytes;
    }

    const unsigned char* bytesIn(const std::string& bytes) { return reinterpret_cast<const unsigned char*>(bytes.data()); }

    std::string readFile(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    int run(const std::string& command) { return std::system((command + " 2>/dev/null").c_str()); }

    // What the call printed, with the error queue checked empty afterwards.
    template <class Call>
    std::string printedBy(Call call)
    {
        testing::internal::CaptureStdout();
        call();
        EXPECT_EQ(ERR_peek_error(), 0u) << "an error left queued";
        return testing::internal::GetCapturedStdout();
    }

    const std::string kNistKey = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
    const std::string kNistIv = "000102030405060708090a0b0c0d0e0f";
    const std::string kNistPlain = "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
                                   "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";
    const std::string kNistCipher = "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
                                    "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b";

    // Keys come from the openssl command, the peer every RSA and AES result is
    // checked against; they are made once for all the tests.
    class Cryptography : public testing::Test
    {
    protected:
        static void SetUpTestSuite()
        {
            char pattern[] = "/tmp/kvos-crypto-XXXXXX";
            ASSERT_NE(mkdtemp(pattern), nullptr);
            folder = std::string(pattern) + "/";
            ASSERT_EQ(run("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out " + folder + "private.pem"), 0);
            ASSERT_EQ(run("openssl pkey -in " + folder + "private.pem -pubout -out " + folder + "public.pem"), 0);
            ASSERT_EQ(run("openssl rsa -in " + folder + "private.pem -RSAPublicKey_out -out " + folder + "rsapublic.pem"), 0);
            ASSERT_EQ(run("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -aes256 -pass pass:secret -out " +
                          folder + "locked.pem"),
                      0);
            privateKey = readFile(folder + "private.pem");
            publicKey = readFile(folder + "public.pem");
        }

        static void TearDownTestSuite() { run("rm -rf '" + folder + "'"); }

        // What openssl makes of bytes of ours.
        static std::string openssl(const std::string& bytes, const std::string& command)
        {
            std::ofstream(folder + "in.bin", std::ios::binary) << bytes;
            std::remove((folder + "out.bin").c_str());
            EXPECT_EQ(run("openssl " + command + " -in " + folder + "in.bin -out " + folder + "out.bin"), 0) << command;
            return readFile(folder + "out.bin");
        }

        using RsaCall = Kv::Ptr<iMemHolder> (iCryptography::*)(const char*, unsigned, void*, unsigned) const;
        static Kv::Ptr<iMemHolder> rsa(RsaCall call, const std::string& key, std::string data)
        {
            return (crypto()->*call)(key.data(), unsigned(key.size()), data.data(), unsigned(data.size()));
        }

        static constexpr RsaCall encryptPublic = &iCryptography::encryptRSAPublic;
        static constexpr RsaCall encryptPrivate = &iCryptography::encryptRSAPrivate;
        static constexpr RsaCall decryptPublic = &iCryptography::decryptRSAPublic;

        static inline std::string folder;
        static inline std::string privateKey;
        static inline std::string publicKey;
    };
}

TEST_F(Cryptography, DigestsMatchThePublishedVectors)
{
    const struct
    {
        std::string text;
        iCryptography::eHashAlg algorithm;
        unsigned length;
        std::string digest;
    } cases[] = {
        {"abc", iCryptography::eMD5, 16, "900150983cd24fb0d6963f7d28e17f72"},
        {"", iCryptography::eMD5, 16, "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", iCryptography::eHashAlg(9), 16, "900150983cd24fb0d6963f7d28e17f72"}, // unknown values are MD5
        {"abc", iCryptography::eSHA1, 20, "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abc", iCryptography::eSHA224, 28, "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", iCryptography::eSHA256, 32,
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"abc", iCryptography::eSHA384, 48,
         "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
        {"abc", iCryptography::eSHA512, 64,
         "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
         "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
    };
    for (const auto& expected : cases) {
        unsigned char out[64];
        EXPECT_EQ(crypto()->hash(bytesIn(expected.text), int(expected.text.size()), out, expected.algorithm), 1);
        EXPECT_EQ(hexOf(std::string(reinterpret_cast<char*>(out), expected.length)), expected.digest) << expected.algorithm;
    }
}

TEST_F(Cryptography, ChunkHashOverManyChunksEqualsTheOneShotDigestAndDiesQuietlyAbandoned)
{
    // Text, since a string chunk stops at a zero byte.
    std::string data(1 << 20, 0);
    unsigned seed = 7;
    for (char& byte : data)
        byte = char(' ' + ((seed = seed * 1103515245u + 12345u) >> 16) % 95);
    for (auto algorithm : {iCryptography::eMD5, iCryptography::eSHA1, iCryptography::eSHA224, iCryptography::eSHA256,
                           iCryptography::eSHA384, iCryptography::eSHA512}) {
        Kv::Ptr<iCryptography::iChunkHash> chunks = crypto()->getHelper(algorithm);
        // Uneven pieces that straddle every block boundary, some as strings.
        size_t offset = 0;
        for (size_t piece = 1; offset < data.size(); piece = piece * 7 % 4099 + 1) {
            const size_t length = std::min(piece, data.size() - offset);
            const bool failed = piece % 3 ? chunks->update(bytesIn(data) + offset, int(length))
                                          : chunks->update(LightweightString<char>(&data[offset], unsigned(length)));
            ASSERT_FALSE(failed) << "false means success";
            offset += length;
        }
        unsigned char out[64] = {};
        ASSERT_TRUE(chunks->finalize(out)) << "true means success";
        unsigned char whole[64] = {};
        crypto()->hash(bytesIn(data), int(data.size()), whole, algorithm);
        EXPECT_EQ(std::string(out, out + 64), std::string(whole, whole + 64)) << algorithm;
    }
    EXPECT_TRUE(printedBy([] { crypto()->getHelper(iCryptography::eSHA256)->update(LightweightString<char>("half")); })
                    .empty());
}

TEST_F(Cryptography, HmacIsSha256ForEveryTypeAsRfc4231Has)
{
    const auto hmacOf = [](iCryptography::eHMACType type, std::string key, std::string data) {
        return std::string(
            crypto()->generateHMAC(type, key.data(), unsigned(key.size()), data.data(), unsigned(data.size())).c_str());
    };
    for (auto type : {iCryptography::eHMACSHA1, iCryptography::eHMACSHA256, iCryptography::eHMACType(7)})
        EXPECT_EQ(hmacOf(type, std::string(20, '\x0b'), "Hi There"),
                  "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7")
            << type;
    EXPECT_EQ(hmacOf(iCryptography::eHMACSHA256, "Jefe", "what do ya want for nothing?"),
              "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
    EXPECT_EQ(hmacOf(iCryptography::eHMACSHA256, std::string(131, '\xaa'),
                     "Test Using Larger Than Block-Size Key - Hash Key First"),
              "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

TEST_F(Cryptography, AesMatchesTheNistCbcVectorsPadsAndDecryptsWithTheOpensslCommand)
{
    const std::string key = bytesOfHex(kNistKey);
    const std::string iv = bytesOfHex(kNistIv);
    std::string plain = bytesOfHex(kNistPlain);
    Kv::Ptr<iMemHolder> encrypted = crypto()->aes_encrypt_WithKey(bytesIn(key), bytesIn(iv), plain.data(), 64);
    EXPECT_EQ(encrypted->getSize(), 80u);
    std::string cipher = take(encrypted);
    ASSERT_EQ(cipher.size(), 80u) << "a whole block of padding";
    EXPECT_EQ(hexOf(cipher.substr(0, 64)), kNistCipher);
    EXPECT_EQ(openssl(cipher, "enc -d -aes-256-cbc -K " + kNistKey + " -iv " + kNistIv), plain);
    EXPECT_EQ(hexOf(take(crypto()->aes_decrypt(bytesIn(key), 32, bytesIn(iv), 16, cipher.data(), 80))), kNistPlain);
    EXPECT_EQ(take(crypto()->aes_encrypt_WithKey(bytesIn(key), bytesIn(iv), plain.data(), 0)).size(), 16u)
        << "empty data is one block of padding";

    // A wrong key or a cut message fails on the padding; what decrypted
    // before it stays, less the block held back for the padding.
    std::string wrongKey = key;
    wrongKey[0] ^= 1;
    std::string garbled;
    EXPECT_EQ(printedBy([&] {
                  garbled = take(crypto()->aes_decrypt(bytesIn(wrongKey), 32, bytesIn(iv), 16, cipher.data(), 80));
              }),
              "");
    EXPECT_EQ(garbled.size(), 64u);
    EXPECT_NE(hexOf(garbled), kNistPlain);
    EXPECT_EQ(take(crypto()->aes_decrypt(bytesIn(key), 32, bytesIn(iv), 16, cipher.data(), 40)), plain.substr(0, 32));
}

TEST_F(Cryptography, AesEncryptDerivesOneKeyFromItsSecret)
{
    std::string plain = "sixteen bytes!!!";
    char key[32] = {}, iv[16] = {}, againKey[32] = {}, againIv[16] = {};
    const std::string cipher = take(crypto()->aes_encrypt(key, 0, iv, 0, plain.data(), 16));
    EXPECT_EQ(cipher.size(), 32u);
    EXPECT_EQ(take(crypto()->aes_encrypt(againKey, 0, againIv, 0, plain.data(), 16)), cipher);
    EXPECT_EQ(std::string(key, 32), std::string(againKey, 32));
    EXPECT_EQ(std::string(iv, 16), std::string(againIv, 16));
    EXPECT_NE(std::string(key, 32), std::string(32, '\0'));
    std::string copy = cipher;
    EXPECT_EQ(take(crypto()->aes_decrypt(reinterpret_cast<unsigned char*>(key), 32,
                                         reinterpret_cast<unsigned char*>(iv), 16, copy.data(), 32)),
              plain);
}

TEST_F(Cryptography, RsaRoundTripsWithTheOpensslCommand)
{
    const std::string secret = "the session key of a shared project";
    const std::string cipher = take(rsa(encryptPublic, publicKey, secret));
    EXPECT_EQ(cipher.size(), 256u);
    EXPECT_EQ(openssl(cipher, "pkeyutl -decrypt -inkey " + folder + "private.pem"), secret);
    EXPECT_NE(take(rsa(encryptPublic, publicKey, secret)), cipher) << "PKCS #1 padding is random";
    EXPECT_EQ(openssl(take(rsa(encryptPublic, publicKey, "")), "pkeyutl -decrypt -inkey " + folder + "private.pem"), "")
        << "empty data is a message too";

    // Private encryption is a signature; public decryption recovers one.
    const std::string licence = "licence: kvos, seats 3";
    const std::string signature = take(rsa(encryptPrivate, privateKey, licence));
    ASSERT_EQ(signature.size(), 256u);
    EXPECT_EQ(openssl(signature, "pkeyutl -verifyrecover -pubin -inkey " + folder + "public.pem"), licence);
    EXPECT_EQ(take(rsa(decryptPublic, publicKey, openssl(licence, "pkeyutl -sign -inkey " + folder + "private.pem"))),
              licence);
    EXPECT_FALSE(rsa(&iCryptography::decryptRSAPrivate, privateKey, signature)) << "a stub";
}

TEST_F(Cryptography, BadKeysAndDataFailWithOneLineAndLeaveNoErrorQueued)
{
    const std::string rsaPublicKey = readFile(folder + "rsapublic.pem");
    ASSERT_NE(rsaPublicKey.find("BEGIN RSA PUBLIC KEY"), std::string::npos);
    const struct
    {
        RsaCall call;
        std::string key;
        std::string data;
    } cases[] = {
        {encryptPublic, "not a key", "ordinary text"},
        {encryptPublic, rsaPublicKey, "a public key of the other kind"},
        {encryptPublic, publicKey.substr(0, publicKey.size() / 2), "a truncated key"},
        {encryptPublic, privateKey, "a private key where a public one is read"},
        {encryptPublic, publicKey, std::string(246, 'x')}, // 11 bytes of padding leave room for 245
        {encryptPrivate, publicKey, "a public key where a private one is read"},
        {encryptPrivate, readFile(folder + "locked.pem"), "no passphrase is asked for"},
    };
    for (const auto& bad : cases) {
        const std::string printed = printedBy([&] { EXPECT_FALSE(rsa(bad.call, bad.key, bad.data)) << bad.data; });
        EXPECT_EQ(printed.rfind("Cryptography::encrypt() : error:", 0), 0u) << printed;
        EXPECT_EQ(printed.find('\n'), printed.size() - 1) << printed;
        // The same failure again reports the same error: nothing stale comes first.
        EXPECT_EQ(printedBy([&] { rsa(bad.call, bad.key, bad.data); }), printed);
    }
}

TEST_F(Cryptography, PublicDecryptionLogsOnlyWhatFailsAfterTheKeyReads)
{
    const std::string signature = take(rsa(encryptPrivate, privateKey, "seats 2"));
    EXPECT_EQ(printedBy([&] {
                  EXPECT_FALSE(rsa(decryptPublic, "not a key", signature));
                  EXPECT_FALSE(rsa(decryptPublic, publicKey.substr(0, 100), signature));
              }),
              "")
        << "a key that does not read is silent";
    std::string corrupted = signature;
    corrupted[100] ^= 0x40;
    for (const std::string& data : {corrupted, signature.substr(0, 255), std::string()}) {
        const std::string printed = printedBy([&] { EXPECT_FALSE(rsa(decryptPublic, publicKey, data)) << data.size(); });
        EXPECT_NE(printed.find("RSA error "), std::string::npos) << printed;
        EXPECT_EQ(printed.find('\n'), printed.size() - 1) << printed;
    }
}

// Lengths that OpenSSL's int cannot hold, or negative ones, are refused before
// a byte is read.
TEST_F(Cryptography, LengthsBeyondAnIntAreRefused)
{
    unsigned char data[16] = {};
    unsigned char digest[64] = {1};
    EXPECT_EQ(crypto()->hash(data, -1, digest, iCryptography::eSHA256), 0);
    EXPECT_EQ(digest[0], 1) << "nothing written";
    Kv::Ptr<iCryptography::iChunkHash> chunks = crypto()->getHelper(iCryptography::eSHA256);
    EXPECT_TRUE(chunks->update(data, -16)) << "true means the update failed";

    const unsigned huge = 0x80000000u;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(crypto()->encryptRSAPublic(publicKey.data(), unsigned(publicKey.size()), data, huge));
    EXPECT_FALSE(crypto()->encryptRSAPrivate(privateKey.data(), huge, data, 1));
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(crypto()->decryptRSAPublic(publicKey.data(), unsigned(publicKey.size()), data, huge));
    for (const unsigned size : {huge, 0xFFFFFFF0u}) {
        SCOPED_TRACE(size);
        EXPECT_EQ(take(crypto()->aes_encrypt_WithKey(data, data, data, size)), "");
        EXPECT_EQ(take(crypto()->aes_decrypt(data, 32, data, 16, data, size)), "");
    }
    EXPECT_TRUE(crypto()->generateHMAC(iCryptography::eHMACType(0), data, huge, data, 1).empty());
}
