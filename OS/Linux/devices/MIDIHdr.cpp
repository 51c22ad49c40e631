#include "MIDIHdr.h"

#include <new>

MIDIHdr::MIDIHdr(unsigned short size) { length = size; }

// The global delete, which the deleting destructor calls, frees the whole
// block whatever size it is told.
MIDIHdr* MIDIHdr::make(unsigned short size)
{
    const std::size_t extra = size > kDataSize ? size - kDataSize : 0;
    return new (::operator new(sizeof(MIDIHdr) + extra)) MIDIHdr(size);
}

unsigned int MIDIHdr::getFlags() const { return 0; }

unsigned char* MIDIHdr::getData() { return data; }

unsigned int MIDIHdr::getBytesRecorded() const { return length; }
