#include "MidiInputDevice.h"
#include "RecordingReceiver.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
    using Bytes = std::vector<unsigned char>;

    // Cut as the system cuts: packets of at most 256 bytes.
    std::vector<Bytes> inPackets(const Bytes& message)
    {
        std::vector<Bytes> packets;
        for (std::size_t offset = 0; offset < message.size(); offset += MIDIPacket::kDataSize)
            packets.emplace_back(message.begin() + offset,
                                 message.begin() + std::min(message.size(), offset + MIDIPacket::kDataSize));
        return packets;
    }

    std::vector<Bytes> concat(std::vector<Bytes> first, const std::vector<Bytes>& second)
    {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }

    struct PacketCase
    {
        const char* what;
        std::vector<Bytes> packets;
        std::vector<MidiCall> calls;
    };

    std::vector<PacketCase> packetCases()
    {
        const Bytes long2000 = sysex(2000);
        const Bytes long300 = sysex(300);
        Bytes afterShort = {0xF0, 0x01, 0xF7};
        afterShort.insert(afterShort.end(), long300.begin(), long300.end());
        return {
            {"three channel messages in one packet each report its first four bytes",
             {{0x90, 0x3C, 0x40, 0x80, 0x3C, 0x00, 0xC0, 0x05}},
             std::vector<MidiCall>(3, MidiCall::shortOne(0x80403C90))},
            {"sizes follow the status: F8 1, F3 2, F1 3, D0 2, E0 3, FE 1",
             {{0xF8, 0xF3, 0x01, 0xF1, 0x02, 0x03, 0xD0, 0x10, 0xE0, 0x00, 0x40, 0xFE}},
             std::vector<MidiCall>(6, MidiCall::shortOne(0xF101F3F8))},
            {"a data byte where a status belongs counts as three bytes: no running status",
             {{0x3C, 0x40, 0x00, 0x3E, 0x41, 0x00, 0x10}},
             std::vector<MidiCall>(3, MidiCall::shortOne(0x3E00403C))},
            {"a SysEx within one packet is one short message",
             {{0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7}},
             {MidiCall::shortOne(0x067F7EF0)}},
            {"a SysEx after a channel message ends the packet's walk with the same first bytes",
             {{0x90, 0x3C, 0x40, 0xF0, 0x01, 0xF7}, {0xF8}},
             {MidiCall::shortOne(0xF0403C90), MidiCall::shortOne(0xF0403C90), MidiCall::shortOne(0xF8)}},
            {"a SysEx over two packets is one long message", inPackets(long300), {MidiCall::longOne(long300)}},
            {"1024 bytes fill the buffer once", inPackets(sysex(1024)), {MidiCall::longOne(sysex(1024))}},
            {"2000 bytes come as 1024 and 976",
             inPackets(long2000),
             {MidiCall::longOne(slice(long2000, 0, 1024)), MidiCall::longOne(slice(long2000, 1024, 2000))}},
            {"an unfinished SysEx delivers nothing yet", {slice(long300, 0, 256)}, {}},
            {"a SysEx within one packet stays in the buffer ahead of the next one",
             concat({{0xF0, 0x01, 0xF7}}, inPackets(long300)),
             {MidiCall::shortOne(0x00F701F0), MidiCall::longOne(afterShort)}},
            {"an empty packet is nothing", {{}}, {}},
        };
    }

    MIDIPacketList packetList(const std::vector<Bytes>& packets)
    {
        MIDIPacketList list(packets.size());
        for (std::size_t i = 0; i < packets.size(); ++i) {
            list[i].length = std::uint16_t(packets[i].size());
            std::copy(packets[i].begin(), packets[i].end(), list[i].data);
        }
        return list;
    }
}

// Packets fed straight to the callback, on the test's thread.
TEST(MidiPackets, CallbackDeliversAsWritten)
{
    for (const PacketCase& packetCase : packetCases()) {
        SCOPED_TRACE(packetCase.what);
        RecordingReceiver receiver;
        MidiInputDevice device(receiver, 7);
        device.inputCallback(packetList(packetCase.packets));
        const std::vector<MidiCall> calls = receiver.takeAll();
        ASSERT_EQ(calls.size(), packetCase.calls.size());
        for (std::size_t i = 0; i < calls.size(); ++i) {
            EXPECT_EQ(calls[i].isLong, packetCase.calls[i].isLong) << "call " << i;
            EXPECT_EQ(calls[i].message, packetCase.calls[i].message) << "call " << i;
            EXPECT_EQ(calls[i].bytes, packetCase.calls[i].bytes) << "call " << i;
            EXPECT_EQ(calls[i].index, 7u);
            EXPECT_EQ(calls[i].device, static_cast<iMidiInputDevice*>(&device));
        }
    }
}

// However many SysEx messages stay behind, nothing is written past the
// buffer: once it is full, a long SysEx brings out what is in it and empties
// it for the next.
TEST(MidiPackets, ShortSysExLeftBehindStayWithinTheBuffer)
{
    RecordingReceiver receiver;
    MidiInputDevice device(receiver, 0);
    const MIDIPacketList shortSysex = packetList({sysex(200)});
    for (int i = 0; i < 10; ++i)
        device.inputCallback(shortSysex);
    const MIDIPacketList longSysex = packetList(inPackets(sysex(300)));
    device.inputCallback(longSysex);
    device.inputCallback(longSysex);
    const std::vector<MidiCall> calls = receiver.takeAll();
    ASSERT_EQ(calls.size(), 12u);
    EXPECT_TRUE(calls[10].isLong);
    EXPECT_EQ(calls[10].bytes.size(), 1024u);
    EXPECT_EQ(slice(calls[10].bytes, 800, 1000), sysex(200));
    EXPECT_EQ(calls[11].bytes, sysex(300));
}
