#pragma once

#include "iCryptography.h"

#include <openssl/types.h>

// The cryptography service on OpenSSL's libcrypto, reached through
// OS()->cryptography(). It is built last with the facade, and its
// constructor only hands OpenSSL the library's heap.
class Cryptography : public iCryptography
{
public:
    // A digest context of its own, for one thread.
    class ChunkHash : public iCryptography::iChunkHash
    {
    public:
        explicit ChunkHash(iCryptography::eHashAlg algorithm);
        // The context is finished if it was not, then freed.
        ~ChunkHash() override;

        bool update(const unsigned char* data, int length) override;
        bool update(const LightweightString<char>& text) override;
        bool finalize(unsigned char* out) override;

    private:
        [[maybe_unused]] iCryptography::eHashAlg algorithm;
        bool finalized;
        const EVP_MD* digest;
        EVP_MD_CTX* context;
    };

    Cryptography();

    Kv::Ptr<iMemHolder> encryptRSAPrivate(const char* key, unsigned int keyLength, void* data,
                                          unsigned int dataLength) const override;
    Kv::Ptr<iMemHolder> decryptRSAPrivate(const char* key, unsigned int keyLength, void* data,
                                          unsigned int dataLength) const override;
    Kv::Ptr<iMemHolder> encryptRSAPublic(const char* key, unsigned int keyLength, void* data,
                                         unsigned int dataLength) const override;
    Kv::Ptr<iMemHolder> decryptRSAPublic(const char* key, unsigned int keyLength, void* data,
                                         unsigned int dataLength) const override;
    Kv::Ptr<iMemHolder> aes_decrypt(const unsigned char* key, unsigned int keyLength, const unsigned char* iv,
                                    unsigned int ivLength, void* data, unsigned int size) const override;
    Kv::Ptr<iMemHolder> aes_encrypt(char* key, unsigned int keyLength, char* iv, unsigned int ivLength, void* data,
                                    unsigned int size) const override;
    Kv::Ptr<iMemHolder> aes_encrypt_WithKey(const unsigned char* key, const unsigned char* iv, void* data,
                                            unsigned int size) const override;
    LightweightString<char> generateHMAC(eHMACType type, void* key, unsigned int keyLength, void* data,
                                         unsigned int dataLength) const override;
    int hash(const unsigned char* data, int length, unsigned char* out, eHashAlg algorithm) override;
    Kv::Ptr<iChunkHash> getHelper(eHashAlg algorithm) override;
};
