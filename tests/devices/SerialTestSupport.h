#pragma once

#include "OS.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <pty.h>
#include <random>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <vector>

// A pseudo-terminal pair standing for a serial line: the slave's path is the
// port, and the test holds the master as the far end of the line.
class PseudoTerminal
{
public:
    PseudoTerminal()
    {
        char name[64];
        int slave = -1;
        if (openpty(&master, &slave, name, nullptr, nullptr) != 0)
            return;
        path = name;
        close(slave);
    }
    ~PseudoTerminal() { hangUp(); }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    bool ready() const { return master >= 0; }

    // The far end goes: the port sees a line that has hung up.
    void hangUp()
    {
        if (master >= 0)
            close(master);
        master = -1;
    }

    // Another descriptor on the port's end, to look at the line beside the
    // port. TIOCEXCL does not stop root, which the tests run as.
    int openPortEnd() const { return open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); }

    termios portSettings() const
    {
        termios settings = {};
        const int end = openPortEnd();
        tcgetattr(end, &settings);
        close(end);
        return settings;
    }

    int master = -1;
    std::string path;
};

// Keeps every byte the port hands over, and how it was handed over.
class CollectingReceiver : public iComPortReceiver
{
public:
    void* getBuffer() override { return chunk; }

    void dataReceived(unsigned int count) override
    {
        char threadName[16] = {};
        pthread_getname_np(pthread_self(), threadName, sizeof threadName);
        std::lock_guard lock(mutex);
        bytes.insert(bytes.end(), chunk, chunk + count);
        largestDelivery = std::max(largestDelivery, count);
        onReaderThread = onReaderThread && std::strcmp(threadName, "ComPort") == 0;
        arrived.notify_all();
    }

    // What has come once size bytes have, or after ten seconds.
    std::vector<unsigned char> waitFor(std::size_t size)
    {
        std::unique_lock lock(mutex);
        arrived.wait_for(lock, std::chrono::seconds(10), [&] { return bytes.size() >= size; });
        return bytes;
    }

    std::vector<unsigned char> received()
    {
        std::lock_guard lock(mutex);
        return bytes;
    }

    unsigned int largestRead()
    {
        std::lock_guard lock(mutex);
        return largestDelivery;
    }

    bool allOnReaderThread()
    {
        std::lock_guard lock(mutex);
        return onReaderThread;
    }

private:
    unsigned char chunk[8]; // exactly the room promised to the port
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<unsigned char> bytes;
    unsigned int largestDelivery = 0;
    bool onReaderThread = true;
};

inline std::vector<unsigned char> randomBytes(std::size_t size, unsigned int seed)
{
    std::mt19937 generator(seed);
    std::vector<unsigned char> bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(generator()); });
    return bytes;
}

inline iComPort::Config eightNoneOne() { return {0, 0, 38400, 8}; }
