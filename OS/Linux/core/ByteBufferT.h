#pragma once

#include "iMemHolder.h"

// A buffer with a used part, filled in directly by its maker. It deliberately
// does not free its buffer when it dies: whoever took the buffer keeps it.
class ByteBufferT : public iMemHolder
{
public:
    unsigned char* getBuffer() const override;
    unsigned getSize() const override;
    unsigned getUsed() const override;
    // Not checked against the size.
    bool setUsed(unsigned used) override;

    unsigned char* buffer = nullptr; // from operator new[]
    unsigned size = 0;
    unsigned used = 0;
};
