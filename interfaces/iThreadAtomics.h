#pragma once

#include "KvExport.h"

// Locked read-modify-write operations with full barriers. Every reference
// count in the library changes through these. Not counted: a member of the facade.
class KV_API iThreadAtomics
{
public:
    virtual ~iThreadAtomics() = default;

    // Return the new value.
    virtual int safeInc(volatile int* value) = 0;
    virtual int safeDec(volatile int* value) = 0;
    virtual long long safeInc(volatile long long* value) = 0;
    virtual long long safeDec(volatile long long* value) = 0;
    // Return the old value.
    virtual int safeAssign(volatile int* target, int value) = 0;
    virtual long long safeAssign(volatile long long* target, long long value) = 0;
    // Return the new value.
    virtual int safeAdd(volatile int* target, int amount) = 0;
    virtual long long safeAdd(volatile long long* target, long long amount) = 0;
    // Return the old value, whether or not it was exchanged.
    virtual int safeCompareExchange(volatile int* target, int exchange, int comparand) = 0;
    virtual long long safeCompareExchange(volatile long long* target, long long exchange, long long comparand) = 0;
};
