#include "ByteBufferT.h"

unsigned char* ByteBufferT::getBuffer() const { return buffer; }

unsigned ByteBufferT::getSize() const { return size; }

unsigned ByteBufferT::getUsed() const { return used; }

bool ByteBufferT::setUsed(unsigned newUsed)
{
    used = newUsed;
    return true;
}
