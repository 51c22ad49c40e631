#pragma once

#include "KvRectangle.h"
#include "XY.h"


#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

class TimerRedirector;
// Xlib's own declarations; its header's macros stay out of every includer.
typedef struct _XDisplay Display;
typedef union _XEvent XEvent;
typedef struct _XIM* XIM;

// Whatever owns an X window of the library: it gets that window's events on
// the loop's thread.
class XEventSink
{
public:
    virtual ~XEventSink() = default;
    virtual void handleXEvent(const XEvent& event) = 0;
};

// The X connection and the main loop. The loop waits in poll on the
// connection, an eventfd that other threads write to, and the earliest due
// timer; only the loop's thread ever reads the display.
//
// post is the one operation for other threads; everything else belongs to
// the loop's thread. workLock guards work alone.
//
// Without a display the connection fails with one log line and run returns at
// once. When the server goes away the loop returns, where Xlib's own handler
// would end the process: the connection's exit handler only marks it lost.
class X11Application
{
public:
    // The process's connection, on $DISPLAY, opened on first use.
    static X11Application& instance();

    // A null name means $DISPLAY.
    explicit X11Application(const char* displayName);
    ~X11Application();

    X11Application(const X11Application&) = delete;
    X11Application& operator=(const X11Application&) = delete;

    // Null without a connection, and after the server went away.
    Display* display() const;

    // From the server's keyboard state now, not from events; false without
    // a connection.
    bool isKeyDown(unsigned long keysym) const;

    // Runs work on the loop's thread, in the order posted. From any thread.
    void post(std::function<void()> task);
    // Returns when stop is called from the loop's thread or the server goes
    // away; a stop before run ends the next run at once.
    void run();
    void stop();

    // The sink gets the window's events until removed. A window without a
    // sink has its events dropped.
    void addWindow(unsigned long window, XEventSink* sink);
    void removeWindow(unsigned long window);
    // Null once the window is gone: work posted for a window checks here.
    XEventSink* findWindow(unsigned long window) const;

    // The desktop's scale of logical to device pixels: Xft.dpi over 96, and
    // 1 where it is unset.
    unsigned int backingScale() const;

    // Where the server has the window, from its parent's top left; empty
    // without a connection.
    Kv::Rectangle<int> geometry(unsigned long window) const;
    // The pointer from the window's top left; (0, 0) without a connection.
    XY<int> pointerIn(unsigned long window) const;

    // Interned on first use; 0 without a connection.
    unsigned long atom(const char* name);
    // The input method of the locale, opened on first use; null where there
    // is none, and then keys give their own characters.
    XIM inputMethod();

    // The redirector fires on this loop until removed.
    void addTimer(TimerRedirector* timer);
    void removeTimer(TimerRedirector* timer);

private:
    static void onConnectionLost(Display* display, void* application);

    void readDisplay();
    void runPostedWork();
    void fireDueTimers();
    int msUntilNextTimer() const;

    Display* connection = nullptr;
    int wakeFd = -1;
    bool stopping = false;
    bool connectionLost = false;
    std::vector<TimerRedirector*> timers;
    std::map<unsigned long, XEventSink*> windows;
    std::map<std::string, unsigned long> atoms;
    XIM inputMethod_ = nullptr;
    bool inputMethodOpened = false;
    std::mutex workLock;
    std::vector<std::function<void()>> work;
    // Storage for the next pass; only the loop's thread touches it.
    std::vector<std::function<void()>> spare;
};
