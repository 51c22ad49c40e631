#pragma once

#include <cstdint>
#include <vector>

// What the MIDI system hands over in one piece: whole messages, or part of a
// SysEx. Packets from the system hold at most 256 bytes; a header's packet
// may carry more after the object (see MIDIHdr).
struct MIDIPacket
{
    static constexpr unsigned kDataSize = 256;

    std::uint64_t timeStamp = 0;
    std::uint16_t length = 0;
    std::uint8_t data[kDataSize] = {};
};

using MIDIPacketList = std::vector<MIDIPacket>;
