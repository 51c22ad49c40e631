#include "JackServer.h"
#include "OS.h"

#include <RtMidi.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{
    using Clock = std::chrono::steady_clock;

    // One JACK period at 48 kHz: 128 frames.
    constexpr std::chrono::microseconds kPeriod(2667);

    // The server and its cable, for the whole run.
    bool startJack(benchmark::State& state)
    {
        static JackServer server;
        static JackMidiCable cable;
        if (server.running() && cable.ready())
            return true;
        state.SkipWithError("jackd did not start");
        return false;
    }

    // Stamps the arrival of the message sent last, on whatever thread brings
    // it, and wakes the waiter. The library reports the fourth byte of a
    // short message as a message of its own, with the same value: only the
    // first call for a value counts.
    class Arrival
    {
    public:
        void arm(unsigned int message)
        {
            std::lock_guard<std::mutex> guard(lock);
            expected = message;
            arrived = false;
        }

        void seen(unsigned int message)
        {
            const Clock::time_point now = Clock::now();
            {
                std::lock_guard<std::mutex> guard(lock);
                if (arrived || message != expected)
                    return;
                arrived = true;
                at = now;
            }
            changed.notify_one();
        }

        // The arrival's time, or nothing when no message came within a second.
        std::optional<Clock::time_point> wait()
        {
            std::unique_lock<std::mutex> guard(lock);
            if (!changed.wait_for(guard, std::chrono::seconds(1), [this] { return arrived; }))
                return std::nullopt;
            return at;
        }

    private:
        std::mutex lock;
        std::condition_variable changed;
        unsigned int expected = 0;
        bool arrived = false;
        Clock::time_point at;
    };

    class LibraryReceiver : public InputCallbackReceiver
    {
    public:
        explicit LibraryReceiver(Arrival& arrival) : arrival(arrival) {}
        void shortData(unsigned int, iMidiInputDevice*, unsigned int message) override { arrival.seen(message); }
        void longData(unsigned int, iMidiInputDevice*, const unsigned char*, unsigned int) override {}

    private:
        Arrival& arrival;
    };

    class NoOutputCalls : public OutputCallbackReceiver
    {
    };

    // Sends at a random point of JACK's period, as an application would, so
    // that a sender that answers late does not gain by landing closer to the
    // next cycle. The time runs from the send to the receiver's call. Note
    // ons of two velocities take turns, so that no late call from one round
    // counts for the next.
    template <class Send>
    void roundTrips(benchmark::State& state, Arrival& arrival, Send send)
    {
        std::mt19937 random(1);
        std::uniform_int_distribution<int> phase(0, int(kPeriod.count()));
        unsigned int velocity = 0x40;
        for (auto _ : state) {
            std::this_thread::sleep_for(std::chrono::microseconds(phase(random)));
            velocity ^= 1;
            const unsigned int message = 0x90 | 0x3C << 8 | velocity << 16;
            arrival.arm(message);
            const Clock::time_point sent = Clock::now();
            send(message);
            const std::optional<Clock::time_point> arrived = arrival.wait();
            if (!arrived) {
                state.SkipWithError("a message was lost");
                break;
            }
            state.SetIterationTime(std::chrono::duration<double>(*arrived - sent).count());
        }
    }

    // A note on out of the library's output device, through the cable, into
    // its input device and up to the receiver on the device's thread.
    void BM_MidiRoundTrip(benchmark::State& state)
    {
        if (!startJack(state))
            return;
        iMIDI* midi = OS()->midi();
        midi->initialise();
        Arrival arrival;
        LibraryReceiver receiver(arrival);
        NoOutputCalls outputReceiver;
        iMidiInputDevice* inputDevice = nullptr;
        iMidiOutputDevice* outputDevice = nullptr;
        const bool outputOpened = midi->open(outputDevice, 0, outputReceiver);
        const Kv::Ptr<iMidiOutputDevice> output(outputDevice);
        const bool inputOpened = midi->open(inputDevice, 0, receiver);
        const Kv::Ptr<iMidiInputDevice> input(inputDevice);
        if (outputOpened && inputOpened) {
            input->start();
            roundTrips(state, arrival, [&](unsigned int message) { output->shortMsg(message); });
            input->stop();
        } else {
            state.SkipWithError("the devices did not open");
        }
        input->close();
        output->close();
        midi->deinitialise();
    }
    BENCHMARK(BM_MidiRoundTrip)->UseManualTime()->Unit(benchmark::kMicrosecond);

    template <class Connection>
    bool openByName(Connection& connection, const std::string& name)
    {
        for (unsigned int i = 0; i < connection.getPortCount(); ++i)
            if (connection.getPortName(i) == name) {
                connection.openPort(i);
                return true;
            }
        return false;
    }

    // The anchor: the same four bytes through RtMidi called directly, up to
    // its callback on JACK's process thread.
    void BM_RtMidiRoundTrip(benchmark::State& state)
    {
        if (!startJack(state))
            return;
        Arrival arrival;
        RtMidiOut output(RtMidi::UNIX_JACK, "anchor");
        RtMidiIn input(RtMidi::UNIX_JACK, "anchor");
        input.ignoreTypes(false, false, false);
        input.setCallback(
            [](double, std::vector<unsigned char>* bytes, void* seen) {
                if (bytes->size() == 4)
                    static_cast<Arrival*>(seen)->seen(bytes->at(0) | bytes->at(1) << 8 | bytes->at(2) << 16 |
                                                       unsigned(bytes->at(3)) << 24);
            },
            &arrival);
        if (!openByName(output, "cable:in") || !openByName(input, "cable:out")) {
            state.SkipWithError("the cable's ports are missing");
            return;
        }
        roundTrips(state, arrival, [&](unsigned int message) {
            const unsigned char bytes[4] = {static_cast<unsigned char>(message),
                                            static_cast<unsigned char>(message >> 8),
                                            static_cast<unsigned char>(message >> 16), 0};
            output.sendMessage(bytes, sizeof bytes);
        });
    }
    BENCHMARK(BM_RtMidiRoundTrip)->UseManualTime()->Unit(benchmark::kMicrosecond);
}
