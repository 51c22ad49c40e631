#include "ComPort.h"

#include "iThreadManager.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace
{
    // Bytes per read, and so per call of the receiver.
    constexpr unsigned int kReadSize = 8;

    struct ModemLineChange
    {
        unsigned long request;
        int lines;
    };

    // By command value. TIOCMSET writes every line, so setting one clears the other.
    constexpr ModemLineChange kModemLineChanges[] = {
        {TIOCMSET, TIOCM_DTR},
        {TIOCMBIC, TIOCM_DTR},
        {TIOCMSET, TIOCM_RTS},
        {TIOCMBIC, TIOCM_RTS},
    };

    // The port installs this for SIGIO; nothing here asks for SIGIO, and the
    // reader does not rely on it.
    void ignoreSignal(int, siginfo_t*, void*) {}

    // 0 for a speed that is left alone.
    speed_t speedOf(unsigned int baud)
    {
        switch (baud) {
        case 9600:
            return B9600;
        case 19200:
            return B19200;
        case 38400:
            return B38400;
        default:
            return B0;
        }
    }

    tcflag_t controlFlagsOf(const iComPort::Config& config)
    {
        tcflag_t flags = config.dataBits == 7 ? CS7 : CS8;
        if (config.parity == 1)
            flags |= PARENB;
        else if (config.parity == 2)
            flags |= PARENB | PARODD;
        if (config.stopBits == 1)
            flags |= CSTOPB;
        return flags;
    }

    void printFailure(const char* format)
    {
        const int error = errno;
        std::printf(format, std::strerror(error), error);
    }
}

ComPort::ComPort(int fd, Kv::Ptr<iComPortReceiver> receiver)
    : receiver(std::move(receiver)), finished(OS()->threadMgr()->createEvent(false, false, nullptr)), fd(fd),
      running(true)
{
}

// O_CLOEXEC: a program the editor starts must not keep the port, which would
// then stay held against the editor itself. The descriptor is left open when
// TIOCEXCL fails, as it always has been.
Kv::Ptr<iComPort> ComPort::open(const char* path, Kv::Ptr<iComPortReceiver> receiver)
{
    if (!receiver)
        return nullptr;
    const int fd = ::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd == -1)
        return nullptr;
    if (ioctl(fd, TIOCEXCL) == -1) {
        const int error = errno;
        std::printf("Error setting TIOCEXCL on %s - %s(%d).\n", path, std::strerror(error), error);
        return nullptr;
    }
    return Kv::Ptr<iComPort>(new ComPort(fd, std::move(receiver)));
}

// Without setConfig no reader ever sets finished, and this waits for ever.
ComPort::~ComPort()
{
    running = false;
    if (tcdrain(fd) == -1)
        printFailure("Error waiting for drain - %s(%d).\n");
    unblockReader();
    finished->wait(iWaitable::kInfinite);
    close(fd);
    thread = nullptr;
    finished = nullptr;
    receiver = nullptr;
}

bool ComPort::sendData(void* data, unsigned int size) { return write(fd, data, size) == ssize_t(size); }

bool ComPort::sendCommand(eCommand command)
{
    if (unsigned(command) >= std::size(kModemLineChanges))
        return false;
    int lines = kModemLineChanges[command].lines;
    return ioctl(fd, kModemLineChanges[command].request, &lines) != -1;
}

// This host has no TIOCFLUSH; TCFLSH with TCIOFLUSH is its flush of both queues.
int ComPort::purge() { return ioctl(fd, TCFLSH, TCIOFLUSH); }

bool ComPort::setConfig(const Config& config)
{
    // The reader of an earlier configuration is ended first: it would never
    // see a reason to stop, and dropping it joins it.
    if (thread)
        stopReader();

    termios previous = {};
    if (tcgetattr(fd, &previous) == -1)
        std::puts("failed get old tio");
    termios settings = previous;
    cfmakeraw(&settings);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 10;

    struct sigaction action = {};
    action.sa_sigaction = ignoreSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGIO, &action, nullptr);

    if (fcntl(fd, F_SETFL, 0) == -1)
        return false;
    if (const speed_t speed = speedOf(config.baud))
        cfsetspeed(&settings, speed);
    // Assigned, so CREAD and CLOCAL go. The speed lives in c_cflag on this
    // host: its bits alone are kept.
    settings.c_cflag = (settings.c_cflag & (CBAUD | CIBAUD)) | controlFlagsOf(config);
    if (tcsetattr(fd, TCSANOW, &settings) == -1)
        std::puts("failed set options");

    iThread::InitArgs args;
    args.entry = threadFn;
    args.arg = this;
    args.stackSize = 0;
    args.name = "ComPort";
    thread = OS()->threadMgr()->createThread(args);
    return true;
}

void ComPort::threadFn(void* self) { static_cast<ComPort*>(self)->readUntilStopped(); }

// Unlike the design's loop, which goes on through every read error, a line
// that has hung up ends the reader: end of file, or EIO once the other end
// has gone, would come back at once on every read and spin for ever.
void ComPort::readUntilStopped()
{
    while (running) {
        void* buffer = receiver->getBuffer();
        const ssize_t count = read(fd, buffer, kReadSize);
        if (count > 0)
            receiver->dataReceived(unsigned(count));
        else if (count == 0 || errno == EIO)
            break;
    }
    finished->set();
}

// O_NONBLOCK alone does not wake a read that already waits on a Linux
// terminal; the settings written back as they are wake it, and the woken read
// then sees O_NONBLOCK and returns.
void ComPort::unblockReader()
{
    if (fcntl(fd, F_SETFL, O_NONBLOCK) == -1)
        printFailure("Error unblocking comport - %s(%d).\n");
    termios settings;
    if (tcgetattr(fd, &settings) == 0)
        tcsetattr(fd, TCSANOW, &settings);
}

void ComPort::stopReader()
{
    running = false;
    unblockReader();
    finished->wait(iWaitable::kInfinite);
    thread = nullptr;
    running = true;
}
