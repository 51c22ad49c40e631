#include "JackServer.h"
#include "OS.h"
#include "RecordingReceiver.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include <unistd.h>

namespace
{
    using namespace std::chrono_literals;

    // Threads of this process named "CFRUNMIDI": the devices' own, and the
    // threads that JACK's client library starts from them, which take their
    // name.
    int deviceThreads()
    {
        int count = 0;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string name;
            std::getline(std::ifstream(task.path() / "comm"), name);
            count += name == "CFRUNMIDI";
        }
        return count;
    }

    bool endsWith(const std::string& text, const std::string& end)
    {
        return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
    }

    // A device is the caller's to close and to release.
    template <class Device>
    Kv::Ptr<Device> owned(Device* device)
    {
        return Kv::Ptr<Device>(device);
    }

    // The library's sent message, as the input device reports it.
    struct RoundTrip
    {
        const char* what;
        std::function<KvResult(iMidiOutputDevice&)> send;
        std::vector<MidiCall> calls;
    };

    KvResult sendLong(iMidiOutputDevice& output, const std::vector<unsigned char>& bytes)
    {
        iMIDIHdr* header = OS()->midi()->allocHeader(static_cast<unsigned short>(bytes.size()));
        std::memcpy(header->getData(), bytes.data(), bytes.size());
        return output.longMsg(header, static_cast<unsigned int>(bytes.size()));
    }

    std::vector<RoundTrip> roundTrips()
    {
        const std::vector<unsigned char> long2000 = sysex(2000);
        return {
            // All four bytes go out, and the fourth, a data byte, counts as a
            // message of its own on the way in.
            {"a note on",
             [](iMidiOutputDevice& output) { return output.shortMsg(0x00403C90); },
             std::vector<MidiCall>(2, MidiCall::shortOne(0x00403C90))},
            {"a program change",
             [](iMidiOutputDevice& output) { return output.shortMsg(0x000005C0); },
             std::vector<MidiCall>(2, MidiCall::shortOne(0x000005C0))},
            {"a SysEx of 300 bytes",
             [](iMidiOutputDevice& output) { return sendLong(output, sysex(300)); },
             {MidiCall::longOne(sysex(300))}},
            {"a SysEx of 1024 bytes",
             [](iMidiOutputDevice& output) { return sendLong(output, sysex(1024)); },
             {MidiCall::longOne(sysex(1024))}},
            {"a SysEx of 2000 bytes",
             [long2000](iMidiOutputDevice& output) { return sendLong(output, long2000); },
             {MidiCall::longOne(slice(long2000, 0, 1024)), MidiCall::longOne(slice(long2000, 1024, 2000))}},
            // Last: it stays in the device's buffer, ahead of the next SysEx.
            {"a SysEx of 6 bytes",
             [](iMidiOutputDevice& output) { return sendLong(output, sysex(6)); },
             {MidiCall::shortOne(0x030201F0)}},
        };
    }

    class OutputReceiver : public OutputCallbackReceiver
    {
    };

    // A JACK server of its own with a cable in it. The library's client is
    // made again for each test, as a server lives for one test only.
    class MidiThroughJack : public ::testing::Test
    {
    protected:
        void SetUp() override
        {
            REQUIRE_JACK(server, cable);
            midi->deinitialise();
        }

        // A device released while it runs would never end.
        void TearDown() override
        {
            if (input)
                input->stop();
            midi->deinitialise();
        }

        // Output to the cable's input, input from the cable's output. Open
        // does not connect to the system: the application counts first.
        void openBoth()
        {
            ASSERT_EQ(midi->getNumOutputDevs(), 1u);
            ASSERT_EQ(midi->getNumInputDevs(), 1u);
            const bool outputOpened = midi->open(outputDevice, 0, outputReceiver);
            output = owned(outputDevice);
            ASSERT_TRUE(outputOpened);
            const bool inputOpened = midi->open(inputDevice, 0, receiver);
            input = owned(inputDevice);
            ASSERT_TRUE(inputOpened);
        }

        JackServer server;
        JackMidiCable cable;
        iMIDI* midi = OS()->midi();
        RecordingReceiver receiver;
        OutputReceiver outputReceiver;
        iMidiInputDevice* inputDevice = nullptr;
        iMidiOutputDevice* outputDevice = nullptr;
        Kv::Ptr<iMidiInputDevice> input;
        Kv::Ptr<iMidiOutputDevice> output;
    };
}

TEST_F(MidiThroughJack, CountsAndNamesFollowTheServersPorts)
{
    EXPECT_EQ(midi->getNumInputDevs(), cable.midiPorts(JackPortIsOutput).size());
    EXPECT_EQ(midi->getNumOutputDevs(), cable.midiPorts(JackPortIsInput).size());
    EXPECT_EQ(midi->getNumInputDevs(), 1u);
    EXPECT_EQ(midi->getNumOutputDevs(), 1u);

    ASSERT_NO_FATAL_FAILURE(openBoth());
    // Each device's port is a port like any other: the output's sends, the
    // input's takes.
    EXPECT_EQ(midi->getNumInputDevs(), 2u);
    EXPECT_EQ(midi->getNumOutputDevs(), 2u);
    const std::vector<std::string> toCable = cable.connections("in");
    const std::vector<std::string> fromCable = cable.connections("out");
    ASSERT_EQ(toCable.size(), 1u);
    ASSERT_EQ(fromCable.size(), 1u);
    EXPECT_EQ(toCable[0].rfind("MIDI client", 0), 0u) << toCable[0];
    EXPECT_TRUE(endsWith(toCable[0], ":Output")) << toCable[0];
    EXPECT_EQ(fromCable[0].rfind("MIDI client", 0), 0u) << fromCable[0];
    EXPECT_TRUE(endsWith(fromCable[0], ":Input")) << fromCable[0];

    EXPECT_EQ(input->close(), 1);
    EXPECT_EQ(output->close(), 1);
    EXPECT_TRUE(cable.connections("in").empty());
    EXPECT_TRUE(cable.connections("out").empty());
    EXPECT_EQ(midi->getNumInputDevs(), 1u);
    EXPECT_EQ(midi->getNumOutputDevs(), 1u);
    input = nullptr;
    output = nullptr;
    EXPECT_EQ(deviceThreads(), 0);
}

TEST_F(MidiThroughJack, MessagesComeBackWithTheirBytesOnTheDeviceThread)
{
    ASSERT_NO_FATAL_FAILURE(openBoth());
    ASSERT_EQ(input->start(), 1);
    for (const RoundTrip& trip : roundTrips()) {
        SCOPED_TRACE(trip.what);
        ASSERT_EQ(trip.send(*output), 1);
        receiver.waitFor(trip.calls.size());
        // Some periods more, for anything that should not come.
        std::this_thread::sleep_for(20ms);
        const std::vector<MidiCall> calls = receiver.takeAll();
        ASSERT_EQ(calls.size(), trip.calls.size());
        for (std::size_t i = 0; i < calls.size(); ++i) {
            EXPECT_EQ(calls[i].isLong, trip.calls[i].isLong) << "call " << i;
            EXPECT_EQ(calls[i].message, trip.calls[i].message) << "call " << i;
            EXPECT_EQ(calls[i].bytes, trip.calls[i].bytes) << "call " << i;
            EXPECT_EQ(calls[i].index, 0u);
            EXPECT_EQ(calls[i].device, inputDevice);
            EXPECT_EQ(calls[i].thread, "CFRUNMIDI");
        }
    }
    EXPECT_EQ(input->stop(), 1);
    EXPECT_EQ(input->close(), 1);
    EXPECT_EQ(output->close(), 1);
}

TEST_F(MidiThroughJack, MessagesWaitWhileTheDeviceIsStopped)
{
    ASSERT_NO_FATAL_FAILURE(openBoth());
    const unsigned int clock = 0xF8;
    ASSERT_EQ(output->shortMsg(clock), 1);
    std::this_thread::sleep_for(30ms);
    EXPECT_TRUE(receiver.takeAll().empty());

    ASSERT_EQ(input->start(), 1);
    EXPECT_EQ(receiver.waitFor(2).size(), 2u);
    ASSERT_EQ(input->stop(), 1);
    receiver.takeAll();

    ASSERT_EQ(output->shortMsg(clock), 1);
    std::this_thread::sleep_for(30ms);
    EXPECT_TRUE(receiver.takeAll().empty());
    ASSERT_EQ(input->start(), 1);
    EXPECT_EQ(receiver.waitFor(2).size(), 2u);
    // A stop straight after a start still ends that run.
    ASSERT_EQ(input->stop(), 1);
    ASSERT_EQ(input->start(), 1);
    ASSERT_EQ(input->stop(), 1);
    EXPECT_EQ(input->close(), 1);
    EXPECT_EQ(output->close(), 1);
}

// The device comes back even when its open fails: the caller closes it.
TEST_F(MidiThroughJack, AnIndexPastTheCountFailsAndLeavesTheDevice)
{
    ASSERT_TRUE(midi->initialise());
    ASSERT_FALSE(midi->open(inputDevice, 5, receiver));
    ASSERT_NE(inputDevice, nullptr);
    input = owned(inputDevice);
    ASSERT_FALSE(midi->open(outputDevice, 1, outputReceiver));
    ASSERT_NE(outputDevice, nullptr);
    output = owned(outputDevice);

    EXPECT_EQ(output->shortMsg(0x00403C90), 0);
    EXPECT_EQ(sendLong(*output, sysex(300)), 0);
    EXPECT_EQ(input->close(), 1);
    EXPECT_EQ(output->close(), 1);
    EXPECT_TRUE(cable.connections("in").empty());
    EXPECT_TRUE(cable.connections("out").empty());
}

// No MIDI system at all: a server name that nothing serves.
TEST(MidiWithoutServer, CountsAreZeroAndOpensFail)
{
    const std::string unserved = "kvos-none-" + std::to_string(getpid());
    setenv("JACK_DEFAULT_SERVER", unserved.c_str(), 1);
    iMIDI* midi = OS()->midi();
    midi->deinitialise();
    EXPECT_EQ(midi->getNumInputDevs(), 0u);
    EXPECT_EQ(midi->getNumOutputDevs(), 0u);

    RecordingReceiver receiver;
    OutputReceiver outputReceiver;
    iMidiInputDevice* inputDevice = nullptr;
    iMidiOutputDevice* outputDevice = nullptr;
    EXPECT_FALSE(midi->open(inputDevice, 0, receiver));
    EXPECT_FALSE(midi->open(outputDevice, 0, outputReceiver));
    ASSERT_NE(inputDevice, nullptr);
    ASSERT_NE(outputDevice, nullptr);
    Kv::Ptr<iMidiInputDevice> input = owned(inputDevice);
    Kv::Ptr<iMidiOutputDevice> output = owned(outputDevice);
    EXPECT_EQ(deviceThreads(), 2);
    EXPECT_EQ(output->shortMsg(0xF8), 0);
    EXPECT_EQ(input->close(), 1);
    EXPECT_EQ(output->close(), 1);
    input = nullptr;
    output = nullptr;
    EXPECT_EQ(deviceThreads(), 0);
    midi->deinitialise();
}

TEST(MidiWithoutServer, HeadersAndStubs)
{
    iMIDI* midi = OS()->midi();
    iMIDIHdr* header = midi->allocHeader(2000);
    EXPECT_EQ(header->getBytesRecorded(), 2000u);
    EXPECT_EQ(header->getFlags(), 0u);
    std::memset(header->getData(), 0x55, 2000);
    midi->freeHeader(header);
    midi->freeHeader(nullptr);

    header = midi->allocHeader(6);
    EXPECT_EQ(header->getBytesRecorded(), 6u);
    OutputReceiver outputReceiver;
    iMidiOutputDevice* outputDevice = nullptr;
    midi->open(outputDevice, 0, outputReceiver);
    const Kv::Ptr<iMidiOutputDevice> output = owned(outputDevice);
    EXPECT_EQ(output->unprepareHeader(header), 1);
    EXPECT_EQ(header->getBytesRecorded(), 256u);
    midi->freeHeader(header);

    unsigned int id = 42;
    EXPECT_EQ(output->reset(), 1);
    EXPECT_EQ(output->getID(id), 1);
    EXPECT_EQ(id, 42u);
    MIDIInCaps inCaps;
    MIDIOutCaps outCaps;
    EXPECT_EQ(midi->getInputDevCaps(0, inCaps), 1);
    EXPECT_EQ(midi->getOutputDevCaps(0, outCaps), 1);
    EXPECT_EQ(inCaps.name[0], L'\0');
    EXPECT_EQ(midi->getResultText(1), nullptr);
    output->close();
}
