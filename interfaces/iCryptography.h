#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iMemHolder.h"
#include "iObject.h"

// RSA with PEM keys that the caller supplies, AES-256-CBC, HMAC, digests and
// incremental hashing. The service keeps no keys and no state, so every call
// may run on any thread at once.
//
// Results come back in memory holders whose buffer the caller takes: it came
// from operator new[] and is not freed when the holder dies. A null holder
// means failure.
class KV_API iCryptography : public virtual iObject
{
public:
    // Any value past eSHA512 computes MD5, so any int is a valid value.
    enum eHashAlg : int
    {
        eMD5 = 0,
        eSHA1 = 1,
        eSHA224 = 2,
        eSHA256 = 3,
        eSHA384 = 4,
        eSHA512 = 5,
    };

    // Not read: every HMAC is HMAC-SHA256, whatever the value.
    enum eHMACType : int
    {
        eHMACSHA1 = 0,
        eHMACSHA256 = 1,
    };

    // A digest fed in pieces; one thread at a time.
    class KV_API iChunkHash : public virtual iObject
    {
    public:
        // Inverted on purpose: true means the update failed.
        virtual bool update(const unsigned char* data, int length) = 0;
        virtual bool update(const LightweightString<char>& text) = 0;
        // True on success. out needs room for the whole digest.
        virtual bool finalize(unsigned char* out) = 0;
    };

    // Encrypts with the private key of a PEM "RSA PRIVATE KEY" or "PRIVATE
    // KEY"; an encrypted key never asks for a passphrase, it fails. Failures
    // print a line on standard output.
    virtual Kv::Ptr<iMemHolder> encryptRSAPrivate(const char* key, unsigned int keyLength, void* data,
                                                  unsigned int dataLength) const = 0;
    // Always null.
    virtual Kv::Ptr<iMemHolder> decryptRSAPrivate(const char* key, unsigned int keyLength, void* data,
                                                  unsigned int dataLength) const = 0;
    // Encrypts with a PEM "PUBLIC KEY", PKCS #1 padding. Failures print a line
    // on standard output.
    virtual Kv::Ptr<iMemHolder> encryptRSAPublic(const char* key, unsigned int keyLength, void* data,
                                                 unsigned int dataLength) const = 0;
    // Recovers what the private key encrypted (a raw PKCS #1 signature). A key
    // that does not read fails silently; a failed decryption is logged.
    virtual Kv::Ptr<iMemHolder> decryptRSAPublic(const char* key, unsigned int keyLength, void* data,
                                                 unsigned int dataLength) const = 0;

    // AES-256-CBC: key has 32 bytes, iv 16. The length arguments are not
    // read. Nothing is checked: a wrong key gives whatever decrypts before
    // the padding is found wrong.
    virtual Kv::Ptr<iMemHolder> aes_decrypt(const unsigned char* key, unsigned int keyLength,
                                            const unsigned char* iv, unsigned int ivLength, void* data,
                                            unsigned int size) const = 0;
    // key (32 bytes) and iv (16 bytes) are outputs: both are derived from the
    // library's own secret, so only this library decrypts the result.
    virtual Kv::Ptr<iMemHolder> aes_encrypt(char* key, unsigned int keyLength, char* iv, unsigned int ivLength,
                                            void* data, unsigned int size) const = 0;
    // PKCS #7 padded: the result is one block longer at most, and the buffer
    // is always size + 16 bytes.
    virtual Kv::Ptr<iMemHolder> aes_encrypt_WithKey(const unsigned char* key, const unsigned char* iv, void* data,
                                                    unsigned int size) const = 0;

    // 64 lower-case hexadecimal characters.
    virtual LightweightString<char> generateHMAC(eHMACType type, void* key, unsigned int keyLength, void* data,
                                                 unsigned int dataLength) const = 0;

    // OpenSSL's result: 1 on success. out needs room for the whole digest.
    virtual int hash(const unsigned char* data, int length, unsigned char* out, eHashAlg algorithm) = 0;
    virtual Kv::Ptr<iChunkHash> getHelper(eHashAlg algorithm) = 0;
};
