#include "ComPort.h"
#include "OS.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <fcntl.h>
#include <mutex>
#include <pty.h>
#include <string>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{
    // Bytes sent through the line per iteration.
    constexpr std::size_t kBlock = 256 * 1024;

    // Counts the bytes that a reader hands over, and wakes the benchmark once
    // the block it waits for has come.
    class ArrivalCounter
    {
    public:
        void arrived(std::size_t count)
        {
            if (received.fetch_add(count, std::memory_order_relaxed) + count < kBlock)
                return;
            std::lock_guard lock(mutex);
            complete = true;
            blockDone.notify_one();
        }

        void waitForBlock()
        {
            std::unique_lock lock(mutex);
            blockDone.wait(lock, [&] { return complete; });
            complete = false;
            received.store(0, std::memory_order_relaxed);
        }

    private:
        std::atomic<std::size_t> received = 0;
        std::mutex mutex;
        std::condition_variable blockDone;
        bool complete = false;
    };

    // A pseudo-terminal pair: the benchmark writes into the master, a reader
    // takes the bytes from the slave's path.
    struct Line
    {
        Line()
        {
            char name[64];
            int slave = -1;
            if (openpty(&master, &slave, name, nullptr, nullptr) != 0)
                return;
            close(slave);
            path = name;
        }
        ~Line() { close(master); }

        // One block into the line, as fast as the reader takes it.
        bool send(const std::vector<unsigned char>& block) const
        {
            for (std::size_t sent = 0; sent < block.size();) {
                const ssize_t count = write(master, block.data() + sent, block.size() - sent);
                if (count <= 0)
                    return false;
                sent += std::size_t(count);
            }
            return true;
        }

        int master = -1;
        std::string path;
    };

    class CountingReceiver : public iComPortReceiver
    {
    public:
        void* getBuffer() override { return chunk; }
        void dataReceived(unsigned int count) override { counter.arrived(count); }

        ArrivalCounter counter;

    private:
        unsigned char chunk[8];
    };

    void BM_SerialComPortReceive(benchmark::State& state)
    {
        Line line;
        const Kv::Ptr<CountingReceiver> receiver(new CountingReceiver);
        const Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), receiver);
        if (!port || !port->setConfig({0, 0, 38400, 8})) {
            state.SkipWithError("no port on a pseudo-terminal");
            return;
        }
        const std::vector<unsigned char> block(kBlock, 0x5A);
        for (auto _ : state) {
            if (!line.send(block)) {
                state.SkipWithError("the line took no more");
                break;
            }
            receiver->counter.waitForBlock();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kBlock));
    }

    // The anchor: the slave opened and set as the port sets its line (raw,
    // VMIN 1, VTIME 10, blocking), read by a thread of its own in a plain loop
    // of read calls of readSize bytes until the line hangs up.
    void plainReadLoop(benchmark::State& state, std::size_t readSize)
    {
        Line line;
        const int slave = open(line.path.c_str(), O_RDWR | O_NOCTTY);
        termios settings;
        if (slave < 0 || tcgetattr(slave, &settings) != 0) {
            state.SkipWithError("no pseudo-terminal");
            return;
        }
        cfmakeraw(&settings);
        settings.c_cc[VMIN] = 1;
        settings.c_cc[VTIME] = 10;
        tcsetattr(slave, TCSANOW, &settings);
        ArrivalCounter counter;
        std::thread reader([&] {
            std::vector<unsigned char> buffer(readSize);
            for (ssize_t count; (count = read(slave, buffer.data(), readSize)) > 0;)
                counter.arrived(std::size_t(count));
        });
        const std::vector<unsigned char> block(kBlock, 0x5A);
        for (auto _ : state) {
            if (!line.send(block)) {
                state.SkipWithError("the line took no more");
                break;
            }
            counter.waitForBlock();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kBlock));
        close(line.master);
        line.master = -1;
        reader.join();
        close(slave);
    }

    // As many bytes per read as the port asks for.
    void BM_SerialPlainReadLoop(benchmark::State& state) { plainReadLoop(state, 8); }

    // What reads of a page each would give: the price of the port's 8-byte reads.
    void BM_SerialPlainReadPage(benchmark::State& state) { plainReadLoop(state, 4096); }
}

BENCHMARK(BM_SerialComPortReceive)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SerialPlainReadLoop)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SerialPlainReadPage)->UseRealTime()->Unit(benchmark::kMillisecond);
