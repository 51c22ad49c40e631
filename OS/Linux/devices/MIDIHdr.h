#pragma once

#include "MIDIPacket.h"
#include "iMIDI.h"

// A long-message buffer: a packet whose data is at least 256 bytes. A larger
// one is made with its extra bytes right after the object, which holds
// because the packet's data ends the object: the header's virtual table comes
// first, as the primary base, so no member may be added here.
class MIDIHdr : public MIDIPacket, public iMIDIHdr
{
public:
    // length is size; the data holds max(size, 256) bytes. Freed by delete.
    static MIDIHdr* make(unsigned short size);

    unsigned int getFlags() const override;
    unsigned char* getData() override;
    unsigned int getBytesRecorded() const override;

private:
    explicit MIDIHdr(unsigned short size);
};
