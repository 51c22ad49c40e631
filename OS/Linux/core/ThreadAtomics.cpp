#include "ThreadAtomics.h"

namespace
{
    template <class T>
    T compareExchange(volatile T* target, T exchange, T comparand)
    {
        // On failure the builtin stores the value found, so either way it is the old one.
        __atomic_compare_exchange_n(target, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
        return comparand;
    }
}

int ThreadAtomics::safeInc(volatile int* value) { return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST); }

int ThreadAtomics::safeDec(volatile int* value) { return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST); }

long long ThreadAtomics::safeInc(volatile long long* value) { return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST); }

long long ThreadAtomics::safeDec(volatile long long* value) { return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST); }

int ThreadAtomics::safeAssign(volatile int* target, int value) { return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST); }

long long ThreadAtomics::safeAssign(volatile long long* target, long long value)
{
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}

int ThreadAtomics::safeAdd(volatile int* target, int amount) { return __atomic_add_fetch(target, amount, __ATOMIC_SEQ_CST); }

long long ThreadAtomics::safeAdd(volatile long long* target, long long amount)
{
    return __atomic_add_fetch(target, amount, __ATOMIC_SEQ_CST);
}

int ThreadAtomics::safeCompareExchange(volatile int* target, int exchange, int comparand)
{
    return compareExchange(target, exchange, comparand);
}

long long ThreadAtomics::safeCompareExchange(volatile long long* target, long long exchange, long long comparand)
{
    return compareExchange(target, exchange, comparand);
}
