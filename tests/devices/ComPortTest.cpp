#include "ComPort.h"
#include "SerialTestSupport.h"

#include "../HostRequired.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <functional>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

namespace
{
    using namespace std::chrono_literals;

    constexpr uid_t kNobody = 65534;

    Kv::Ptr<CollectingReceiver> newReceiver() { return Kv::Ptr<CollectingReceiver>(new CollectingReceiver); }

    // The pseudo-terminal driver makes every line eight bits wide, with no
    // parity bit and with the receiver on, whatever it is asked: those three
    // cannot be seen on it.
    tcflag_t asAPseudoTerminalKeepsThem(tcflag_t controlFlags)
    {
        return (controlFlags & ~(CSIZE | PARENB)) | CS8 | CREAD;
    }

    // The tests look at the port's end through a descriptor of their own,
    // which TIOCEXCL lets only root have.
    bool runningAsRoot() { return geteuid() == 0; }

    // Reads the master end until size bytes have come or nothing comes for
    // ten seconds.
    std::vector<unsigned char> readFarEnd(int master, std::size_t size)
    {
        std::vector<unsigned char> bytes(size);
        std::size_t got = 0;
        pollfd readable{master, POLLIN, 0};
        while (got < size && poll(&readable, 1, 10000) == 1) {
            const ssize_t count = read(master, bytes.data() + got, size - got);
            if (count <= 0)
                break;
            got += std::size_t(count);
        }
        bytes.resize(got);
        return bytes;
    }

    bool writeAll(int descriptor, const std::vector<unsigned char>& bytes)
    {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const ssize_t count = write(descriptor, bytes.data() + sent, bytes.size() - sent);
            if (count <= 0)
                return false;
            sent += std::size_t(count);
        }
        return true;
    }

    int threadsNamed(const char* name)
    {
        int count = 0;
        DIR* tasks = opendir("/proc/self/task");
        while (const dirent* task = tasks ? readdir(tasks) : nullptr) {
            std::ifstream comm(std::string("/proc/self/task/").append(task->d_name).append("/comm"));
            std::string taskName;
            count += std::getline(comm, taskName) && taskName == name;
        }
        if (tasks)
            closedir(tasks);
        return count;
    }

    bool waitUntil(const std::function<bool()>& condition)
    {
        for (auto deadline = std::chrono::steady_clock::now() + 5s; std::chrono::steady_clock::now() < deadline;
             std::this_thread::sleep_for(10ms))
            if (condition())
                return true;
        return condition();
    }

    // 0 when a process of the user nobody can open the path, else the errno.
    int errorOpeningAsNobody(const std::string& path)
    {
        const pid_t child = fork();
        if (child == 0) {
            if (setgid(kNobody) != 0 || setuid(kNobody) != 0)
                _exit(255);
            const int fd = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
            _exit(fd >= 0 ? 0 : errno);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    double processorSeconds()
    {
        timespec used;
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
        return double(used.tv_sec) + double(used.tv_nsec) / 1e9;
    }
}

TEST(ComPort, OpenGivesNullForWhatIsNoPort)
{
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    char regularFile[] = "/tmp/kvos_comport_XXXXXX";
    const int file = mkstemp(regularFile);
    ASSERT_GE(file, 0);
    close(file);
    struct Case
    {
        const char* what;
        std::string path;
        bool withReceiver;
        std::string printed;
    };
    const Case cases[] = {
        {"no receiver", line.path, false, ""},
        {"no such path", "/dev/kvos-no-such-port", true, ""},
        {"not a terminal", regularFile, true,
         std::string("Error setting TIOCEXCL on ").append(regularFile).append(" - ").append(std::strerror(ENOTTY))
             .append("(").append(std::to_string(ENOTTY)).append(").\n")},
    };
    for (const Case& test : cases) {
        testing::internal::CaptureStdout();
        const Kv::Ptr<iComPort> port =
            ComPort::open(test.path.c_str(), test.withReceiver ? newReceiver() : Kv::Ptr<CollectingReceiver>());
        EXPECT_EQ(testing::internal::GetCapturedStdout(), test.printed) << test.what;
        EXPECT_FALSE(port) << test.what;
    }
    unlink(regularFile);
}

TEST(ComPort, ConfigurationReachesTheLine)
{
    REQUIRE_HOST(runningAsRoot(), "root, which alone passes TIOCEXCL to look at the line");
    struct Case
    {
        iComPort::Config config;
        tcflag_t controlFlags; // of CSIZE, PARENB, PARODD, CSTOPB, CREAD and CLOCAL
        speed_t speed;
    };
    // The line starts at 57600, which only the three speeds named replace.
    const Case cases[] = {
        {{0, 0, 9600, 8}, CS8, B9600},
        {{1, 1, 19200, 7}, CS7 | PARENB | CSTOPB, B19200},
        {{2, 2, 38400, 8}, CS8 | PARENB | PARODD, B38400},
        {{0, 1, 115200, 8}, CS8 | CSTOPB, B57600},
        {{3, 0, 0, 5}, CS8, B57600},
    };
    for (const Case& test : cases) {
        PseudoTerminal line;
        ASSERT_TRUE(line.ready());
        termios before = line.portSettings();
        cfsetspeed(&before, B57600);
        before.c_cflag |= CREAD | CLOCAL;
        const int end = line.openPortEnd();
        ASSERT_EQ(tcsetattr(end, TCSANOW, &before), 0);
        close(end);

        const Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), newReceiver());
        ASSERT_TRUE(port);
        ASSERT_TRUE(port->setConfig(test.config));
        const termios after = line.portSettings();
        const std::string what = "baud " + std::to_string(test.config.baud);
        EXPECT_EQ(after.c_cflag & (CSIZE | PARENB | PARODD | CSTOPB | CREAD | CLOCAL),
                  asAPseudoTerminalKeepsThem(test.controlFlags))
            << what;
        EXPECT_EQ(cfgetospeed(&after), test.speed) << what;
        EXPECT_EQ(cfgetispeed(&after), test.speed) << what;
        EXPECT_EQ(after.c_lflag & (ICANON | ECHO | ISIG), 0u) << what;
        EXPECT_EQ(after.c_oflag & OPOST, 0u) << what;
        EXPECT_EQ(after.c_cc[VMIN], 1) << what;
        EXPECT_EQ(after.c_cc[VTIME], 10) << what;
    }
    // The handler the ports leave for SIGIO is a defined one.
    struct sigaction action;
    ASSERT_EQ(sigaction(SIGIO, nullptr, &action), 0);
    EXPECT_TRUE(action.sa_flags & SA_SIGINFO);
    EXPECT_NE(action.sa_sigaction, nullptr);
}

TEST(ComPort, CarriesAMebibyteEachWayAtOnce)
{
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    const auto receiver = newReceiver();
    const Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), receiver);
    ASSERT_TRUE(port);
    ASSERT_TRUE(port->setConfig(eightNoneOne()));

    constexpr std::size_t kSize = 1 << 20;
    std::vector<unsigned char> inbound = randomBytes(kSize, 1);
    std::vector<unsigned char> outbound = randomBytes(kSize, 2);
    std::atomic<bool> wroteIn = false, sentOut = false;
    std::thread farEndWriter([&] { wroteIn = writeAll(line.master, inbound); });
    std::thread sender([&] { sentOut = port->sendData(outbound.data(), unsigned(outbound.size())); });
    const std::vector<unsigned char> arrivedOut = readFarEnd(line.master, kSize);
    farEndWriter.join();
    sender.join();

    EXPECT_TRUE(wroteIn);
    EXPECT_TRUE(sentOut);
    EXPECT_TRUE(arrivedOut == outbound) << arrivedOut.size() << " bytes came out";
    const std::vector<unsigned char> arrivedIn = receiver->waitFor(kSize);
    EXPECT_TRUE(arrivedIn == inbound) << arrivedIn.size() << " bytes came in";
    EXPECT_LE(receiver->largestRead(), 8u);
    EXPECT_TRUE(receiver->allOnReaderThread());
}

TEST(ComPort, ModemCommandsSetAndClearTheirLines)
{
    REQUIRE_HOST(runningAsRoot(), "root, which alone passes TIOCEXCL to look at the line");
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    const Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), newReceiver());
    ASSERT_TRUE(port);
    ASSERT_TRUE(port->setConfig(eightNoneOne()));
    const int end = line.openPortEnd();
    struct Case
    {
        iComPort::eCommand command;
        int linesAfter; // of DTR and RTS
    };
    // Setting one line writes them all, so it clears the other.
    const Case cases[] = {
        {iComPort::SetDTR, TIOCM_DTR},
        {iComPort::SetRTS, TIOCM_RTS},
        {iComPort::ClearRTS, 0},
        {iComPort::SetDTR, TIOCM_DTR},
        {iComPort::ClearDTR, 0},
    };
    for (const Case& test : cases) {
        const bool accepted = port->sendCommand(test.command);
        int lines = 0;
        if (ioctl(end, TIOCMGET, &lines) == -1) {
            // Pseudo-terminals have no modem lines: the system refuses the
            // requests, and so does the port.
            EXPECT_TRUE(errno == ENOTTY || errno == EINVAL) << std::strerror(errno);
            EXPECT_FALSE(accepted) << test.command;
            continue;
        }
        EXPECT_TRUE(accepted) << test.command;
        EXPECT_EQ(lines & (TIOCM_DTR | TIOCM_RTS), test.linesAfter) << test.command;
    }
    close(end);
    EXPECT_FALSE(port->sendCommand(iComPort::eCommand(4)));
}

TEST(ComPort, PurgeDropsWhatWaitsToBeRead)
{
    REQUIRE_HOST(runningAsRoot(), "root, which alone passes TIOCEXCL to look at the line");
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    const auto receiver = newReceiver();
    const Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), receiver);
    ASSERT_TRUE(port);
    // A whole line, which the port's end, still canonical, counts as waiting.
    ASSERT_EQ(write(line.master, "dropped\n", 8), 8);
    const int end = line.openPortEnd();
    EXPECT_TRUE(waitUntil([&] {
        int waiting = 0;
        return ioctl(end, FIONREAD, &waiting) == 0 && waiting == 8;
    }));
    close(end);
    EXPECT_EQ(port->purge(), 0);
    ASSERT_TRUE(port->setConfig(eightNoneOne()));
    ASSERT_EQ(write(line.master, "kept", 4), 4);
    const std::vector<unsigned char> arrived = receiver->waitFor(4);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(std::string(arrived.begin(), arrived.end()), "kept");
    EXPECT_EQ(receiver->received().size(), 4u);
}

TEST(ComPort, ASecondConfigurationKeepsOneReader)
{
    REQUIRE_HOST(runningAsRoot(), "root, which alone passes TIOCEXCL to look at the line");
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    const auto receiver = newReceiver();
    const Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), receiver);
    ASSERT_TRUE(port);
    ASSERT_TRUE(port->setConfig({0, 0, 9600, 8}));
    ASSERT_TRUE(port->setConfig({2, 1, 19200, 7}));
    const termios settings = line.portSettings();
    EXPECT_EQ(cfgetospeed(&settings), B19200);
    EXPECT_EQ(settings.c_cflag & (CSIZE | PARENB | PARODD | CSTOPB),
              asAPseudoTerminalKeepsThem(CS7 | PARENB | PARODD | CSTOPB) & ~CREAD);
    EXPECT_TRUE(waitUntil([] { return threadsNamed("ComPort") == 1; }));

    const std::vector<unsigned char> inbound = randomBytes(4096, 3);
    ASSERT_TRUE(writeAll(line.master, inbound));
    EXPECT_TRUE(receiver->waitFor(inbound.size()) == inbound);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(receiver->received().size(), inbound.size());
}

// The reader waits in a blocking read when the far end goes. It ends by itself
// without spinning on the dead line, and the port still dies at once.
TEST(ComPort, AFarEndThatHangsUpEndsTheReader)
{
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), newReceiver());
    ASSERT_TRUE(port);
    ASSERT_TRUE(port->setConfig(eightNoneOne()));
    ASSERT_TRUE(waitUntil([] { return threadsNamed("ComPort") == 1; }));
    std::this_thread::sleep_for(50ms);

    const double before = processorSeconds();
    line.hangUp();
    std::this_thread::sleep_for(300ms);
    EXPECT_LT(processorSeconds() - before, 0.1);
    EXPECT_TRUE(waitUntil([] { return threadsNamed("ComPort") == 0; }));

    testing::internal::CaptureStdout(); // the drain of a dead line may fail, and say so
    const auto start = std::chrono::steady_clock::now();
    port = nullptr;
    testing::internal::GetCapturedStdout();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
}

// The port holds its line against everyone but root, so another user's open
// fails once it is open, and not before.
TEST(ComPort, HoldsTheLineAgainstOtherUsers)
{
    REQUIRE_HOST(runningAsRoot(), "root, to act as another user");
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    ASSERT_EQ(chown(line.path.c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(errorOpeningAsNobody(line.path), 0);
    const Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), newReceiver());
    ASSERT_TRUE(port);
    EXPECT_EQ(errorOpeningAsNobody(line.path), EBUSY);
    ASSERT_TRUE(port->setConfig(eightNoneOne()));
}

// Nothing sets the event that the destructor waits for when no reader was
// ever started: in a process of its own, the last release never returns.
TEST(ComPort, WithoutConfigurationTheDestructorWaitsForEver)
{
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    int progress[2];
    ASSERT_EQ(pipe(progress), 0);
    const pid_t child = fork();
    if (child == 0) {
        Kv::Ptr<iComPort> port = ComPort::open(line.path.c_str(), newReceiver());
        if (write(progress[1], port ? "o" : "x", 1) != 1 || !port)
            _exit(1);
        port = nullptr;
        _exit(write(progress[1], "d", 1) == 1 ? 0 : 1);
    }
    close(progress[1]);
    pollfd news{progress[0], POLLIN, 0};
    char step = 0;
    ASSERT_EQ(poll(&news, 1, 10000), 1);
    ASSERT_EQ(read(progress[0], &step, 1), 1);
    EXPECT_EQ(step, 'o');
    EXPECT_EQ(poll(&news, 1, 500), 0) << "the destructor returned";
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(progress[0]);
}
