#pragma once

#include "iThreadAtomics.h"

// Each operation is one locked instruction with a full barrier.
class ThreadAtomics : public iThreadAtomics
{
public:
    int safeInc(volatile int* value) override;
    int safeDec(volatile int* value) override;
    long long safeInc(volatile long long* value) override;
    long long safeDec(volatile long long* value) override;
    int safeAssign(volatile int* target, int value) override;
    long long safeAssign(volatile long long* target, long long value) override;
    int safeAdd(volatile int* target, int amount) override;
    long long safeAdd(volatile long long* target, long long amount) override;
    int safeCompareExchange(volatile int* target, int exchange, int comparand) override;
    long long safeCompareExchange(volatile long long* target, long long exchange, long long comparand) override;
};
