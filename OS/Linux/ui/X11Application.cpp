#include "X11Application.h"

#include "TimerRedirector.h"
#include "iOperatingSystem.h"
#include "iUtils.h"

#include <algorithm>
#include <clocale>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <X11/Xlib.h>
// For the output buffer's fill, which no public call tells without I/O. Last:
// it defines min and max as macros.
#include <X11/Xlibint.h>
#undef min
#undef max

namespace
{
    // Xlib's default handler exits the process; the exit handler set per
    // display decides what happens instead.
    int quietIOError(Display*) { return 0; }
    // Xlib's default handler of protocol errors exits too. A request on a
    // window that the window manager or the server already let go of is no
    // reason to end the editor.
    int quietError(Display*, XErrorEvent*) { return 0; }

    void initialiseXlib()
    {
        static const bool initialised = [] {
            XInitThreads();
            XSetIOErrorHandler(quietIOError);
            XSetErrorHandler(quietError);
            return true;
        }();
        (void)initialised;
    }
}

X11Application& X11Application::instance()
{
    static X11Application application(nullptr);
    return application;
}

X11Application::X11Application(const char* displayName) : wakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    initialiseXlib();
    connection = XOpenDisplay(displayName);
    if (!connection) {
        const char* name = displayName ? displayName : std::getenv("DISPLAY");
        OS()->utils()->vlog("Cannot open the X display \"%s\": windows are unavailable\n", name ? name : "");
        return;
    }
    XSetIOErrorExitHandler(connection, onConnectionLost, this);
}

X11Application::~X11Application()
{
    if (inputMethod_)
        XCloseIM(inputMethod_);
    // Xlib knows a connection that it lost and only frees its memory.
    if (connection)
        XCloseDisplay(connection);
    close(wakeFd);
}

Display* X11Application::display() const { return connectionLost ? nullptr : connection; }

bool X11Application::isKeyDown(unsigned long keysym) const
{
    if (!display())
        return false;
    const KeyCode code = XKeysymToKeycode(connection, keysym);
    if (!code)
        return false;
    char keymap[32] = {};
    XQueryKeymap(connection, keymap);
    return keymap[code / 8] & (1 << (code % 8));
}

// Returning is allowed: the Xlib call that met the error unwinds, and every
// later call on the display returns at once. On the way Xlib releases its
// internal display lock twice, which ThreadSanitizer reports.
void X11Application::onConnectionLost(Display*, void* application)
{
    static_cast<X11Application*>(application)->connectionLost = true;
}

void X11Application::post(std::function<void()> task)
{
    {
        std::lock_guard<std::mutex> guard(workLock);
        work.push_back(std::move(task));
    }
    const uint64_t one = 1;
    // The counter only saturates after 2^64 - 2 posts unread: no write is lost.
    [[maybe_unused]] const ssize_t written = write(wakeFd, &one, sizeof one);
}

void X11Application::stop() { stopping = true; }

void X11Application::run()
{
    while (display() && !stopping) {
        pollfd fds[2] = {{ConnectionNumber(connection), POLLIN, 0}, {wakeFd, POLLIN, 0}};
        // Requests made since the last pass go out before the wait, and
        // events that Xlib already read would not wake poll. XFlush also
        // reads the socket, twice, so it runs only when requests wait: a
        // wake-up from another thread then costs little more than poll.
        if (connection->bufptr != connection->buffer)
            XFlush(connection);
        const int timeout = XQLength(connection) ? 0 : msUntilNextTimer();
        if (poll(fds, 2, timeout) < 0 && errno != EINTR)
            break;
        if ((fds[0].revents & POLLIN) || XQLength(connection))
            readDisplay();
        // Xlib has read what the server left; a hung-up socket that it did
        // not notice would wake poll forever.
        if (fds[0].revents & (POLLHUP | POLLERR))
            connectionLost = true;
        if (fds[1].revents & POLLIN)
            runPostedWork();
        fireDueTimers();
    }
    stopping = false;
}

void X11Application::readDisplay()
{
    while (!connectionLost && XPending(connection)) {
        XEvent event;
        XNextEvent(connection, &event);
        // The input method takes the key events of its compositions.
        if (XFilterEvent(&event, None))
            continue;
        if (XEventSink* sink = findWindow(event.xany.window))
            sink->handleXEvent(event);
    }
}

void X11Application::addWindow(unsigned long window, XEventSink* sink) { windows[window] = sink; }

void X11Application::removeWindow(unsigned long window) { windows.erase(window); }

XEventSink* X11Application::findWindow(unsigned long window) const
{
    const auto found = windows.find(window);
    return found == windows.end() ? nullptr : found->second;
}

unsigned int X11Application::backingScale() const
{
    const char* dpi = display() ? XGetDefault(connection, "Xft", "dpi") : nullptr;
    const long scale = dpi ? std::strtol(dpi, nullptr, 10) / 96 : 1;
    return unsigned(std::clamp<long>(scale, 1, 255));
}

Kv::Rectangle<int> X11Application::geometry(unsigned long window) const
{
    Window root = None;
    int x = 0;
    int y = 0;
    unsigned int width = 0;
    unsigned int height = 0;
    unsigned int border = 0;
    unsigned int depth = 0;
    if (!display() || !window || !XGetGeometry(connection, window, &root, &x, &y, &width, &height, &border, &depth))
        return {};
    return {x, y, x + int(width), y + int(height)};
}

XY<int> X11Application::pointerIn(unsigned long window) const
{
    Window root = None;
    Window child = None;
    int rootX = 0;
    int rootY = 0;
    int x = 0;
    int y = 0;
    unsigned int buttons = 0;
    if (!display() || !XQueryPointer(connection, window, &root, &child, &rootX, &rootY, &x, &y, &buttons))
        return XY<int>(0, 0);
    return XY<int>(x, y);
}

unsigned long X11Application::atom(const char* name)
{
    if (!display())
        return None;
    unsigned long& interned = atoms[name];
    if (interned == None)
        interned = XInternAtom(connection, name, False);
    return interned;
}

XIM X11Application::inputMethod()
{
    if (!inputMethodOpened && display()) {
        inputMethodOpened = true;
        // Xlib reads the locale's input method from the process's locale.
        if (std::setlocale(LC_CTYPE, nullptr) && XSupportsLocale())
            XSetLocaleModifiers("");
        inputMethod_ = XOpenIM(connection, nullptr, nullptr, nullptr);
    }
    return inputMethod_;
}

void X11Application::runPostedWork()
{
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t drained = read(wakeFd, &count, sizeof count);
    // A task may run a loop of its own (a modal box): the list being worked
    // through is this call's alone. Its storage is kept for the next posts,
    // so a wake-up allocates nothing.
    std::vector<std::function<void()>> ready = std::move(spare);
    ready.clear();
    {
        std::lock_guard<std::mutex> guard(workLock);
        ready.swap(work);
    }
    for (std::function<void()>& task : ready)
        task();
    ready.clear();
    spare = std::move(ready);
}

void X11Application::addTimer(TimerRedirector* timer) { timers.push_back(timer); }

void X11Application::removeTimer(TimerRedirector* timer) { std::erase(timers, timer); }

void X11Application::fireDueTimers()
{
    const TimerRedirector::Clock::time_point now = TimerRedirector::Clock::now();
    // A handler may make or stop timers: each one due is checked again before
    // it fires.
    const std::vector<TimerRedirector*> due = timers;
    for (TimerRedirector* timer : due)
        if (std::find(timers.begin(), timers.end(), timer) != timers.end() && timer->nextFiring() <= now)
            timer->onTimer();
}

int X11Application::msUntilNextTimer() const
{
    if (timers.empty())
        return -1;
    TimerRedirector::Clock::time_point earliest = timers.front()->nextFiring();
    for (const TimerRedirector* timer : timers)
        earliest = std::min(earliest, timer->nextFiring());
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(earliest - TimerRedirector::Clock::now());
    return int(std::max<long long>(0, wait.count()));
}
