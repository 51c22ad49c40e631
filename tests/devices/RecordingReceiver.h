#pragma once

#include "iMIDI.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>

// What one call of an InputCallbackReceiver brought.
struct MidiCall
{
    bool isLong = false;
    unsigned int index = 0;
    iMidiInputDevice* device = nullptr;
    unsigned int message = 0;         // shortData
    std::vector<unsigned char> bytes; // longData
    std::string thread;               // the calling thread's name

    static MidiCall shortOne(unsigned int message) { return {false, 0, nullptr, message, {}, {}}; }
    static MidiCall longOne(std::vector<unsigned char> bytes) { return {true, 0, nullptr, 0, std::move(bytes), {}}; }
};

// Keeps every call, from whatever thread it comes.
class RecordingReceiver : public InputCallbackReceiver
{
public:
    void shortData(unsigned int index, iMidiInputDevice* device, unsigned int message) override
    {
        record({false, index, device, message, {}, threadName()});
    }

    void longData(unsigned int index, iMidiInputDevice* device, const unsigned char* bytes,
                  unsigned int length) override
    {
        record({true, index, device, 0, std::vector<unsigned char>(bytes, bytes + length), threadName()});
    }

    // Every call so far, once there are at least count or after 5 s.
    std::vector<MidiCall> waitFor(std::size_t count)
    {
        std::unique_lock<std::mutex> guard(lock);
        arrived.wait_for(guard, std::chrono::seconds(5), [&] { return calls.size() >= count; });
        return calls;
    }

    std::vector<MidiCall> takeAll()
    {
        std::lock_guard<std::mutex> guard(lock);
        return std::exchange(calls, {});
    }

private:
    static std::string threadName()
    {
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof name);
        return name;
    }

    void record(MidiCall call)
    {
        {
            std::lock_guard<std::mutex> guard(lock);
            calls.push_back(std::move(call));
        }
        arrived.notify_all();
    }

    std::mutex lock;
    std::condition_variable arrived;
    std::vector<MidiCall> calls;
};

// A SysEx of size bytes: 0xF0, a counting pattern of data bytes, 0xF7.
inline std::vector<unsigned char> sysex(std::size_t size)
{
    std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(i % 0x7F);
    bytes.front() = 0xF0;
    bytes.back() = 0xF7;
    return bytes;
}

inline std::vector<unsigned char> slice(const std::vector<unsigned char>& bytes, std::size_t from, std::size_t to)
{
    return std::vector<unsigned char>(bytes.begin() + std::ptrdiff_t(from), bytes.begin() + std::ptrdiff_t(to));
}
