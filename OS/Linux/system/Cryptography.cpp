#include "Cryptography.h"

#include "ByteBufferT.h"
#include "OsHeap.h"
#include "iUtils.h"

#include <climits>
#include <cstdio>
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <utility>

namespace
{
    // The library's own fixed secret behind aes_encrypt: data encrypted by a
    // build with another secret does not decrypt here.
    constexpr unsigned char kPassphrase[9] = {0x6b, 0x76, 0x4f, 0x53, 0x9d, 0x2e, 0x51, 0xc7, 0x38};

    const EVP_MD* digestFor(iCryptography::eHashAlg algorithm)
    {
        switch (algorithm) {
        case iCryptography::eSHA1: return EVP_sha1();
        case iCryptography::eSHA224: return EVP_sha224();
        case iCryptography::eSHA256: return EVP_sha256();
        case iCryptography::eSHA384: return EVP_sha384();
        case iCryptography::eSHA512: return EVP_sha512();
        default: return EVP_md5();
        }
    }

    // OpenSSL queues errors per thread and never drops them by itself: a
    // failure left behind would be the message of the next caller's failure.
    struct ErrorQueueDrain
    {
        ~ErrorQueueDrain() { ERR_clear_error(); }
    };

    // A library must never stop to ask on the terminal: an encrypted private
    // key gets no passphrase and fails to read.
    int refusePassphrase(char*, int, int, void*) { return 0; }

    // The buffer of a result: from operator new[], and the caller's once the
    // holder is handed over. A holder that is dropped here takes it along.
    class Result
    {
    public:
        explicit Result(unsigned size) : holder(new ByteBufferT)
        {
            holder->buffer = new unsigned char[size];
            holder->size = size;
        }
        ~Result()
        {
            if (!holder)
                return;
            delete[] holder->buffer;
            delete holder;
        }

        unsigned char* buffer() const { return holder->buffer; }

        Kv::Ptr<iMemHolder> handOver(unsigned used)
        {
            holder->setUsed(used);
            return Kv::Ptr<iMemHolder>(std::exchange(holder, nullptr));
        }

    private:
        ByteBufferT* holder;
    };

    class MemoryBio
    {
    public:
        MemoryBio(const char* text, unsigned length) : bio(BIO_new(BIO_s_mem())) { BIO_write(bio, text, int(length)); }
        ~MemoryBio() { BIO_free(bio); }
        MemoryBio(const MemoryBio&) = delete;
        MemoryBio& operator=(const MemoryBio&) = delete;

        BIO* bio;
    };

    // The read functions replace the empty key with the one they read.
    class RsaKey
    {
    public:
        ~RsaKey() { RSA_free(rsa); }

        RSA* rsa = RSA_new();
    };

    class CipherContext
    {
    public:
        CipherContext() : context(EVP_CIPHER_CTX_new()) { EVP_CIPHER_CTX_reset(context); }
        ~CipherContext()
        {
            EVP_CIPHER_CTX_reset(context);
            EVP_CIPHER_CTX_free(context);
        }
        CipherContext(const CipherContext&) = delete;
        CipherContext& operator=(const CipherContext&) = delete;

        EVP_CIPHER_CTX* context;
    };

    enum class eKeyKind
    {
        ePublic,
        ePrivate,
    };

    enum class eRsaOutcome
    {
        eDone,
        eNoKey, // RSA_new failed
        eKeyUnread,
        eFailed,
    };

    using RsaTransform = int (*)(int, const unsigned char*, unsigned char*, RSA*, int);

    // OpenSSL counts bytes in int: a longer input is refused, never cut short.
    bool fitsInt(unsigned length) { return length <= unsigned(INT_MAX); }

    // The steps the three RSA operations share; each reports its own failures.
    Kv::Ptr<iMemHolder> transformWithRsa(eKeyKind kind, RsaTransform transform, const char* key, unsigned keyLength,
                                         void* data, unsigned dataLength, eRsaOutcome& outcome)
    {
        MemoryBio keyText(key, keyLength);
        RsaKey rsaKey;
        if (!rsaKey.rsa) {
            outcome = eRsaOutcome::eNoKey;
            return nullptr;
        }
        if (!fitsInt(keyLength) || !fitsInt(dataLength)) {
            outcome = eRsaOutcome::eFailed;
            return nullptr;
        }
        const RSA* read = kind == eKeyKind::ePublic
                              ? PEM_read_bio_RSA_PUBKEY(keyText.bio, &rsaKey.rsa, nullptr, nullptr)
                              : PEM_read_bio_RSAPrivateKey(keyText.bio, &rsaKey.rsa, refusePassphrase, nullptr);
        if (!read) {
            outcome = eRsaOutcome::eKeyUnread;
            return nullptr;
        }
        Result result(unsigned(RSA_size(rsaKey.rsa)));
        const int count = transform(int(dataLength), static_cast<const unsigned char*>(data), result.buffer(),
                                    rsaKey.rsa, RSA_PKCS1_PADDING);
        if (count == -1) {
            outcome = eRsaOutcome::eFailed;
            return nullptr;
        }
        outcome = eRsaOutcome::eDone;
        return result.handOver(unsigned(count));
    }

    Kv::Ptr<iMemHolder> encryptWithRsa(eKeyKind kind, RsaTransform transform, const char* key, unsigned keyLength,
                                       void* data, unsigned dataLength)
    {
        ErrorQueueDrain drain;
        eRsaOutcome outcome;
        Kv::Ptr<iMemHolder> result = transformWithRsa(kind, transform, key, keyLength, data, dataLength, outcome);
        if (outcome == eRsaOutcome::eKeyUnread || outcome == eRsaOutcome::eFailed) {
            // ERR_error_string's own buffer is shared by all threads.
            char error[256];
            std::printf("Cryptography::encrypt() : %s\n", ERR_error_string(ERR_get_error(), error));
        }
        return result;
    }

    Kv::Ptr<iMemHolder> encryptWithAes(const unsigned char* key, const unsigned char* iv, void* data, unsigned size)
    {
        if (!fitsInt(size))
            return Result(0).handOver(0);
        Result result(size + 16);
        CipherContext cipher;
        int updated = 0;
        int finished = 0;
        EVP_EncryptInit_ex(cipher.context, EVP_aes_256_cbc(), nullptr, key, iv);
        EVP_EncryptUpdate(cipher.context, result.buffer(), &updated, static_cast<const unsigned char*>(data),
                          int(size));
        EVP_EncryptFinal_ex(cipher.context, result.buffer() + updated, &finished);
        return result.handOver(unsigned(updated + finished));
    }
}

Cryptography::Cryptography()
{
    // Only stores three pointers, so it is safe while the facade is being
    // built. OpenSSL refuses once it has allocated anything, and then keeps
    // the C library's allocator, which is where the heap's memory comes from
    // anyway.
    CRYPTO_set_mem_functions(Custom_malloc_fn, Custom_realloc_fn, Custom_free_fn);
}

Kv::Ptr<iMemHolder> Cryptography::encryptRSAPrivate(const char* key, unsigned int keyLength, void* data,
                                                    unsigned int dataLength) const
{
    return encryptWithRsa(eKeyKind::ePrivate, RSA_private_encrypt, key, keyLength, data, dataLength);
}

Kv::Ptr<iMemHolder> Cryptography::decryptRSAPrivate(const char*, unsigned int, void*, unsigned int) const
{
    return nullptr;
}

Kv::Ptr<iMemHolder> Cryptography::encryptRSAPublic(const char* key, unsigned int keyLength, void* data,
                                                   unsigned int dataLength) const
{
    return encryptWithRsa(eKeyKind::ePublic, RSA_public_encrypt, key, keyLength, data, dataLength);
}

Kv::Ptr<iMemHolder> Cryptography::decryptRSAPublic(const char* key, unsigned int keyLength, void* data,
                                                   unsigned int dataLength) const
{
    ErrorQueueDrain drain;
    eRsaOutcome outcome;
    Kv::Ptr<iMemHolder> result =
        transformWithRsa(eKeyKind::ePublic, RSA_public_decrypt, key, keyLength, data, dataLength, outcome);
    if (outcome == eRsaOutcome::eFailed)
        OS()->utils()->vlog("RSA error %d\n", int(ERR_get_error()));
    return result;
}

Kv::Ptr<iMemHolder> Cryptography::aes_decrypt(const unsigned char* key, unsigned int, const unsigned char* iv,
                                              unsigned int, void* data, unsigned int size) const
{
    ErrorQueueDrain drain;
    if (!fitsInt(size))
        return Result(0).handOver(0);
    Result result(size);
    CipherContext cipher;
    int updated = 0;
    int finished = 0;
    EVP_DecryptInit_ex(cipher.context, EVP_aes_256_cbc(), nullptr, key, iv);
    EVP_DecryptUpdate(cipher.context, result.buffer(), &updated, static_cast<const unsigned char*>(data), int(size));
    // A wrong key or a cut message fails here, on the padding, and the result
    // keeps what the update produced.
    EVP_DecryptFinal_ex(cipher.context, result.buffer() + updated, &finished);
    return result.handOver(unsigned(updated + finished));
}

Kv::Ptr<iMemHolder> Cryptography::aes_encrypt(char* key, unsigned int, char* iv, unsigned int, void* data,
                                              unsigned int size) const
{
    ErrorQueueDrain drain;
    unsigned char* const derivedKey = reinterpret_cast<unsigned char*>(key);
    unsigned char* const derivedIv = reinterpret_cast<unsigned char*>(iv);
    // No salt and one round, so the same secret always gives the same key.
    if (EVP_BytesToKey(EVP_aes_256_cbc(), EVP_sha1(), nullptr, kPassphrase, sizeof kPassphrase, 1, derivedKey,
                       derivedIv) != 32)
        return Result(size + 16).handOver(0);
    return encryptWithAes(derivedKey, derivedIv, data, size);
}

Kv::Ptr<iMemHolder> Cryptography::aes_encrypt_WithKey(const unsigned char* key, const unsigned char* iv, void* data,
                                                      unsigned int size) const
{
    ErrorQueueDrain drain;
    return encryptWithAes(key, iv, data, size);
}

LightweightString<char> Cryptography::generateHMAC(eHMACType, void* key, unsigned int keyLength, void* data,
                                                   unsigned int dataLength) const
{
    ErrorQueueDrain drain;
    if (!fitsInt(keyLength))
        return LightweightString<char>();
    unsigned char mac[EVP_MAX_MD_SIZE] = {};
    unsigned int macLength = 0;
    HMAC(EVP_sha256(), key, int(keyLength), static_cast<const unsigned char*>(data), dataLength, mac, &macLength);
    char text[2 * 32 + 1];
    for (unsigned i = 0; i < 32; ++i)
        std::snprintf(text + 2 * i, 3, "%02x", mac[i]);
    return LightweightString<char>(text, 2 * 32);
}

int Cryptography::hash(const unsigned char* data, int length, unsigned char* out, eHashAlg algorithm)
{
    ErrorQueueDrain drain;
    if (length < 0)
        return 0;
    return EVP_Digest(data, size_t(length), out, nullptr, digestFor(algorithm), nullptr);
}

Kv::Ptr<iCryptography::iChunkHash> Cryptography::getHelper(eHashAlg algorithm)
{
    return Kv::Ptr<iChunkHash>(new ChunkHash(algorithm));
}

Cryptography::ChunkHash::ChunkHash(iCryptography::eHashAlg algorithm)
    : algorithm(algorithm), finalized(false), digest(digestFor(algorithm)), context(EVP_MD_CTX_new())
{
    EVP_DigestInit_ex(context, digest, nullptr);
}

// The context goes with the hash: an editor that hashes for days must not
// leak one per file.
Cryptography::ChunkHash::~ChunkHash()
{
    if (!finalized) {
        // OpenSSL 3 writes the digest even when given nowhere to put it, so an
        // abandoned hash finishes into scratch room.
        unsigned char discarded[EVP_MAX_MD_SIZE];
        EVP_DigestFinal_ex(context, discarded, nullptr);
    }
    EVP_MD_CTX_free(context);
}

bool Cryptography::ChunkHash::update(const unsigned char* data, int length)
{
    if (length < 0)
        return true;
    return EVP_DigestUpdate(context, data, size_t(length)) != 1;
}

bool Cryptography::ChunkHash::update(const LightweightString<char>& text)
{
    return EVP_DigestUpdate(context, text.c_str(), text.size()) != 1;
}

bool Cryptography::ChunkHash::finalize(unsigned char* out)
{
    finalized = true;
    return EVP_DigestFinal_ex(context, out, nullptr) == 1;
}
