#pragma once

#include "X11Application.h"

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

// The X CLIPBOARD selection as UTF-8 text (UTF8_STRING), with INCR both ways
// for text too large for one request.
//
// The text set here is served from the main loop by a small hidden window on
// the process's connection. Reading waits on a connection of its own, so any
// thread may read while the loop serves; text the process owns is answered
// without asking the server, which lets the loop's own thread read it too.
// textLock guards text_ and owned; readLock the reading connection.
class X11Clipboard : public XEventSink
{
public:
    // The process's clipboard. It lives as long as the process, since the X
    // connection that it serves on may be gone before static destructors.
    static X11Clipboard& instance();

    // From any thread; the selection is claimed on the main loop.
    void setText(const std::string& text);
    // Empty without a display, without text, or when the owner has not
    // answered within the wait.
    std::string text();

    void handleXEvent(const XEvent& event) override;

    // How long an owner gets for each answer.
    static constexpr std::chrono::milliseconds kAnswerWait{2000};

private:
    // Text going to another client in pieces, each sent when it has deleted
    // the last one.
    struct Transfer
    {
        unsigned long requestor;
        unsigned long property;
        std::string text;
        size_t sent = 0;
    };

    X11Clipboard();

    void claim();
    void answer(const XEvent& request);
    bool startTransfer(unsigned long requestor, unsigned long property, const std::string& text);
    void continueTransfer(unsigned long requestor, unsigned long property);
    void endTransfer(std::vector<Transfer>::iterator transfer);
    size_t largestPiece() const;

    bool openReader();
    std::string readSelection();
    bool waitForReader(int type, std::chrono::steady_clock::time_point deadline, XEvent& event);

    unsigned long owner = 0;
    std::vector<Transfer> transfers;

    std::mutex textLock;
    std::string text_;
    bool owned = false;

    std::mutex readLock;
    Display* reader = nullptr;
    unsigned long readerWindow = 0;
};
