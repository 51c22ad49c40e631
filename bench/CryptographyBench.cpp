#include "OS.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdlib>
#include <string>

namespace
{
    constexpr unsigned kDataBytes = 64u << 20;

    const std::string& data()
    {
        static const std::string bytes = [] {
            std::string text(kDataBytes, 0);
            unsigned seed = 99;
            for (char& byte : text)
                byte = char((seed = seed * 1103515245u + 12345u) >> 16);
            return text;
        }();
        return bytes;
    }

    const unsigned char kKey[32] = {0x60, 0x3d, 0xeb, 0x10, 0x15, 0xca, 0x71, 0xbe, 0x2b, 0x73, 0xae,
                                    0xf0, 0x85, 0x7d, 0x77, 0x81, 0x1f, 0x35, 0x2c, 0x07, 0x3b, 0x61,
                                    0x08, 0xd7, 0x2d, 0x98, 0x10, 0xa3, 0x09, 0x14, 0xdf, 0xf4};
    const unsigned char kIv[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

    const unsigned char* bytes() { return reinterpret_cast<const unsigned char*>(data().data()); }

    void BM_CryptographyHashSha256(benchmark::State& state)
    {
        unsigned char out[32];
        for (auto _ : state) {
            OS()->cryptography()->hash(bytes(), int(kDataBytes), out, iCryptography::eSHA256);
            benchmark::DoNotOptimize(out);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * kDataBytes);
    }

    void BM_EvpDigestSha256(benchmark::State& state)
    {
        unsigned char out[32];
        for (auto _ : state) {
            EVP_Digest(bytes(), kDataBytes, out, nullptr, EVP_sha256(), nullptr);
            benchmark::DoNotOptimize(out);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * kDataBytes);
    }

    // Each side makes a fresh output buffer per call, as the library must, so
    // both pay the same page faults.
    void BM_CryptographyAesEncrypt(benchmark::State& state)
    {
        std::string plain = data();
        for (auto _ : state) {
            Kv::Ptr<iMemHolder> cipher = OS()->cryptography()->aes_encrypt_WithKey(kKey, kIv, plain.data(), kDataBytes);
            benchmark::DoNotOptimize(cipher->getBuffer());
            delete[] cipher->getBuffer();
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * kDataBytes);
    }

    void BM_EvpAesEncrypt(benchmark::State& state)
    {
        for (auto _ : state) {
            auto* cipher = static_cast<unsigned char*>(std::malloc(kDataBytes + 16));
            EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
            int updated = 0;
            int finished = 0;
            EVP_EncryptInit_ex(context, EVP_aes_256_cbc(), nullptr, kKey, kIv);
            EVP_EncryptUpdate(context, cipher, &updated, bytes(), int(kDataBytes));
            EVP_EncryptFinal_ex(context, cipher + updated, &finished);
            EVP_CIPHER_CTX_free(context);
            benchmark::DoNotOptimize(cipher);
            std::free(cipher);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * kDataBytes);
    }
}

BENCHMARK(BM_CryptographyHashSha256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EvpDigestSha256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CryptographyAesEncrypt)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EvpAesEncrypt)->Unit(benchmark::kMillisecond);
