#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iImageBase.h"
#include "iRegion.h"

#include <set>
#include <vector>

// The factory of everything on screen and the owner of the main loop. Every
// operation belongs on the main thread.
class KV_API iWindowManager
{
public:
    // Font family names compare without regard to case, as fontconfig's do.
    struct FamilyNameLess
    {
        bool operator()(const LightweightString<wchar_t>& a, const LightweightString<wchar_t>& b) const
        {
            return Kv::TextOps::compareNoCase(a.c_str(), b.c_str()) < 0;
        }
    };
    using FamilyNames = std::set<LightweightString<wchar_t>, FamilyNameLess>;

    virtual ~iWindowManager() = default;

    virtual Kv::Ptr<iRegion> createRegion(const iRegion::Rectangles& rectangles) = 0;
    // Adds every installed family; what the set held stays.
    virtual void getAvailableFonts(FamilyNames& families) const = 0;
    // Not checked against the installed fonts: a missing family falls back
    // when the font is made.
    virtual LightweightString<wchar_t> getDefaultFont() const = 0;
    virtual LightweightString<wchar_t> getDefaultFixedWidthFont() const = 0;
    virtual void heartbeat() const = 0;
    // True while the modifier key with that Kv::Modifier bit is held; Caps
    // Lock is no Shift here. Any other key is false.
    virtual bool isKeyPressed(unsigned int key) const = 0;
    // Runs the main loop until it is stopped or the display goes away. Without
    // a display it returns at once.
    virtual void startEventLoop() = 0;
    virtual void reserved1() = 0;
    virtual void reserved2() = 0;
    virtual void despatchPendingEvents() = 0;
    virtual unsigned int getCaps() const = 0;
    virtual std::vector<iImageBase::eLocation> getSupportedWindowLocations() const = 0;
    virtual void shutdown() = 0;
};
