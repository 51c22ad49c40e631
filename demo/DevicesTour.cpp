#include "DevicesTour.h"

#include "OS.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <thread>

namespace
{
    void showSerialPorts()
    {
        std::map<LightweightString<wchar_t>, LightweightString<wchar_t>> ports;
        OS()->hardwareMgr()->getComPorts(ports);
        std::printf("\nkvdemo: %zu serial ports\n", ports.size());
        for (const auto& [name, path] : ports)
            std::printf("kvdemo:   %s\n", OS()->utils()->toUTF8(path).c_str());
    }

    class Listener : public InputCallbackReceiver
    {
    public:
        void shortData(unsigned int, iMidiInputDevice*, unsigned int) override { ++notes; }
        void longData(unsigned int, iMidiInputDevice*, const unsigned char*, unsigned int length) override
        {
            sysexBytes += length;
        }

        std::atomic<int> notes{0};
        std::atomic<unsigned> sysexBytes{0};
    };

    // A device is ours even when its open fails.
    template <class Device>
    Kv::Ptr<Device> owned(Device* device)
    {
        return Kv::Ptr<Device>(device);
    }

    void loopThroughFirstDevices(iMIDI* midi)
    {
        Listener listener;
        OutputCallbackReceiver outputReceiver;
        iMidiOutputDevice* outputDevice = nullptr;
        iMidiInputDevice* inputDevice = nullptr;
        const bool outputOpen = midi->open(outputDevice, 0, outputReceiver);
        const Kv::Ptr<iMidiOutputDevice> output = owned(outputDevice);
        const bool inputOpen = midi->open(inputDevice, 0, listener);
        const Kv::Ptr<iMidiInputDevice> input = owned(inputDevice);
        if (outputOpen && inputOpen) {
            input->start();
            output->shortMsg(0x7F3C90); // note on, middle C, loudest
            constexpr unsigned short kSysexSize = 2000;
            iMIDIHdr* header = midi->allocHeader(kSysexSize);
            unsigned char* bytes = header->getData();
            std::memset(bytes, 0x11, kSysexSize);
            bytes[0] = 0xF0;
            bytes[kSysexSize - 1] = 0xF7;
            output->longMsg(header, kSysexSize);
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
            while (listener.sysexBytes < kSysexSize && std::chrono::steady_clock::now() < deadline)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            input->stop();
            std::printf("kvdemo: a note and a SysEx of %u bytes sent on output 0; input 0 heard %d short "
                        "messages and %u SysEx bytes\n",
                        unsigned(kSysexSize), listener.notes.load(), listener.sysexBytes.load());
        } else {
            std::printf("kvdemo: the first MIDI devices did not open\n");
        }
        input->close();
        output->close();
    }

    void showMidi()
    {
        iMIDI* midi = OS()->midi();
        const unsigned inputs = midi->getNumInputDevs();
        const unsigned outputs = midi->getNumOutputDevs();
        std::printf("kvdemo: MIDI: %u input and %u output devices\n", inputs, outputs);
        if (inputs > 0 && outputs > 0)
            loopThroughFirstDevices(midi);
        else
            std::printf("kvdemo: no MIDI system with devices both ways is running: nothing sent\n");
        midi->deinitialise();
    }
}

void devicesTour()
{
    showSerialPorts();
    showMidi();
}
