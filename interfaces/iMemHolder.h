#pragma once

#include "iObject.h"

// A block of memory with a used part.
class KV_API iMemHolder : public virtual iObject
{
public:
    virtual unsigned char* getBuffer() const = 0;
    virtual unsigned getSize() const = 0;
    virtual unsigned getUsed() const = 0;
    virtual bool setUsed(unsigned used) = 0;
    virtual unsigned getSpace() const { return getSize() - getUsed(); }
};
