#include "X11Clipboard.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace
{
    Atom atomOf(Display* display, const char* name) { return XInternAtom(display, name, False); }

    // The whole property, deleted as it is read, which tells an INCR owner
    // to send its next piece. False when the property is not there.
    bool takeProperty(Display* display, Window window, Atom property, Atom& type, std::string& bytes)
    {
        bytes.clear();
        long offset = 0;
        unsigned long remaining = 0;
        do {
            int format = 0;
            unsigned long count = 0;
            unsigned char* data = nullptr;
            // In 32-bit units; the rest comes in further replies.
            constexpr long kUnits = 1 << 18;
            if (XGetWindowProperty(display, window, property, offset, kUnits, False, AnyPropertyType, &type, &format,
                                   &count, &remaining, &data) != Success)
                return false;
            if (type == None) {
                XFree(data);
                return false;
            }
            const size_t size = count * (format == 32 ? sizeof(long) : size_t(format / 8));
            bytes.append(reinterpret_cast<const char*>(data), size);
            offset += format == 32 ? long(count) : long(size / 4);
            XFree(data);
        } while (remaining);
        XDeleteProperty(display, window, property);
        return true;
    }
}

X11Clipboard& X11Clipboard::instance()
{
    static X11Clipboard* const clipboard = new X11Clipboard;
    return *clipboard;
}

X11Clipboard::X11Clipboard()
{
    X11Application& application = X11Application::instance();
    Display* display = application.display();
    if (!display)
        return;
    owner = XCreateSimpleWindow(display, DefaultRootWindow(display), -10, -10, 1, 1, 0, 0, 0);
    XSelectInput(display, owner, PropertyChangeMask);
    application.addWindow(owner, this);
}

void X11Clipboard::setText(const std::string& text)
{
    {
        std::lock_guard<std::mutex> guard(textLock);
        text_ = text;
        owned = owner != 0;
    }
    X11Application::instance().post([this] { claim(); });
}

void X11Clipboard::claim()
{
    Display* display = X11Application::instance().display();
    if (!display || !owner)
        return;
    const Atom clipboard = X11Application::instance().atom("CLIPBOARD");
    XSetSelectionOwner(display, clipboard, owner, CurrentTime);
    const bool claimed = XGetSelectionOwner(display, clipboard) == owner;
    std::lock_guard<std::mutex> guard(textLock);
    owned = claimed;
}

void X11Clipboard::handleXEvent(const XEvent& event)
{
    switch (event.type) {
    case SelectionClear:
        if (event.xselectionclear.window == owner) {
            std::lock_guard<std::mutex> guard(textLock);
            owned = false;
        }
        break;
    case SelectionRequest:
        answer(event);
        break;
    case PropertyNotify:
        if (event.xproperty.state == PropertyDelete)
            continueTransfer(event.xproperty.window, event.xproperty.atom);
        break;
    case DestroyNotify: {
        const Window gone = event.xdestroywindow.window;
        auto transfer = std::find_if(transfers.begin(), transfers.end(),
                                     [gone](const Transfer& t) { return t.requestor == gone; });
        if (transfer != transfers.end())
            endTransfer(transfer);
        break;
    }
    default:
        break;
    }
}

void X11Clipboard::answer(const XEvent& event)
{
    X11Application& application = X11Application::instance();
    Display* display = application.display();
    const XSelectionRequestEvent& request = event.xselectionrequest;
    XEvent reply = {};
    reply.xselection.type = SelectionNotify;
    reply.xselection.display = display;
    reply.xselection.requestor = request.requestor;
    reply.xselection.selection = request.selection;
    reply.xselection.target = request.target;
    reply.xselection.time = request.time;
    // Clients older than ICCCM 2 name no property: the target serves.
    reply.xselection.property = request.property ? request.property : request.target;

    std::string text;
    bool owns = false;
    {
        std::lock_guard<std::mutex> guard(textLock);
        owns = owned;
        text = text_;
    }
    const Atom utf8 = application.atom("UTF8_STRING");
    if (!owns || request.selection != application.atom("CLIPBOARD")) {
        reply.xselection.property = None;
    } else if (request.target == application.atom("TARGETS")) {
        const Atom targets[] = {Atom(application.atom("TARGETS")), utf8};
        XChangeProperty(display, request.requestor, reply.xselection.property, XA_ATOM, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(targets), 2);
    } else if (request.target == utf8) {
        if (text.size() > largestPiece()) {
            if (!startTransfer(request.requestor, reply.xselection.property, text))
                reply.xselection.property = None;
        } else {
            XChangeProperty(display, request.requestor, reply.xselection.property, utf8, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(text.data()), int(text.size()));
        }
    } else {
        reply.xselection.property = None;
    }
    XSendEvent(display, request.requestor, False, NoEventMask, &reply);
    XFlush(display);
}

size_t X11Clipboard::largestPiece() const
{
    // A request's limit, less room for the request's own fields.
    return size_t(XMaxRequestSize(X11Application::instance().display())) * 4 - 256;
}

bool X11Clipboard::startTransfer(unsigned long requestor, unsigned long property, const std::string& text)
{
    X11Application& application = X11Application::instance();
    // One transfer at a time for each window: the requestor's events are ours
    // until the last piece.
    if (application.findWindow(requestor))
        return false;
    Display* display = application.display();
    XSelectInput(display, requestor, PropertyChangeMask | StructureNotifyMask);
    application.addWindow(requestor, this);
    transfers.push_back({requestor, property, text});
    const long size = long(text.size());
    XChangeProperty(display, requestor, property, application.atom("INCR"), 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&size), 1);
    return true;
}

void X11Clipboard::continueTransfer(unsigned long requestor, unsigned long property)
{
    auto transfer = std::find_if(transfers.begin(), transfers.end(), [&](const Transfer& t) {
        return t.requestor == requestor && t.property == property;
    });
    if (transfer == transfers.end())
        return;
    Display* display = X11Application::instance().display();
    const size_t piece = std::min(largestPiece(), transfer->text.size() - transfer->sent);
    XChangeProperty(display, requestor, property, X11Application::instance().atom("UTF8_STRING"), 8,
                    PropModeReplace, reinterpret_cast<const unsigned char*>(transfer->text.data() + transfer->sent),
                    int(piece));
    transfer->sent += piece;
    // The empty piece is the end.
    if (piece == 0)
        endTransfer(transfer);
    XFlush(display);
}

void X11Clipboard::endTransfer(std::vector<Transfer>::iterator transfer)
{
    X11Application& application = X11Application::instance();
    if (Display* display = application.display())
        XSelectInput(display, transfer->requestor, NoEventMask);
    application.removeWindow(transfer->requestor);
    transfers.erase(transfer);
}

std::string X11Clipboard::text()
{
    {
        std::lock_guard<std::mutex> guard(textLock);
        if (owned)
            return text_;
    }
    std::lock_guard<std::mutex> guard(readLock);
    if (!openReader())
        return {};
    return readSelection();
}

bool X11Clipboard::openReader()
{
    if (reader)
        return true;
    Display* display = X11Application::instance().display();
    if (!display)
        return false;
    reader = XOpenDisplay(DisplayString(display));
    if (!reader)
        return false;
    readerWindow = XCreateSimpleWindow(reader, DefaultRootWindow(reader), -10, -10, 1, 1, 0, 0, 0);
    XSelectInput(reader, readerWindow, PropertyChangeMask);
    return true;
}

std::string X11Clipboard::readSelection()
{
    const Atom property = atomOf(reader, "KV_CLIPBOARD");
    const Atom utf8 = atomOf(reader, "UTF8_STRING");
    // What an earlier read that timed out left behind: a late answer to it
    // must not pass for this one's.
    XDeleteProperty(reader, readerWindow, property);
    XSync(reader, False);
    while (XPending(reader)) {
        XEvent stale;
        XNextEvent(reader, &stale);
    }
    XConvertSelection(reader, atomOf(reader, "CLIPBOARD"), utf8, property, readerWindow, CurrentTime);
    XEvent event;
    if (!waitForReader(SelectionNotify, std::chrono::steady_clock::now() + kAnswerWait, event) ||
        event.xselection.property == None)
        return {};
    Atom type = None;
    std::string bytes;
    if (!takeProperty(reader, readerWindow, property, type, bytes))
        return {};
    if (type != atomOf(reader, "INCR"))
        return type == utf8 ? bytes : std::string();
    // Deleting the INCR property asked for the first piece.
    std::string text;
    for (;;) {
        if (!waitForReader(PropertyNotify, std::chrono::steady_clock::now() + kAnswerWait, event))
            return {};
        if (event.xproperty.atom != property || event.xproperty.state != PropertyNewValue)
            continue;
        if (!takeProperty(reader, readerWindow, property, type, bytes))
            return {};
        if (bytes.empty())
            return text;
        text += bytes;
    }
}

bool X11Clipboard::waitForReader(int type, std::chrono::steady_clock::time_point deadline, XEvent& event)
{
    for (;;) {
        while (XPending(reader)) {
            XNextEvent(reader, &event);
            if (event.type == type && event.xany.window == readerWindow)
                return true;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        pollfd fd = {ConnectionNumber(reader), POLLIN, 0};
        if (poll(&fd, 1, int(left.count())) < 0 && errno != EINTR)
            return false;
    }
}
