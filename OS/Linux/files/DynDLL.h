#pragma once

#include "iDLL.h"

// A shared library opened with dlopen, made only by FileManager::openDLL.
// A name that is no library may be a plug-in folder: "<name>/<stem>.so".
//
// Resources live in "<stem>.rsrc" in the folder of the loaded file, where the
// stem is the name's last component without its extension. Its layout, all
// numbers little-endian:
//
//   header   magic "KVRS" (4 bytes), version 1 (u32), entry count (u32)
//   entries  count times 16 bytes: type (u32, the four-byte code with its
//            first character most significant, so "STR" is 0x53545200),
//            id (i16), reserved 0 (u16), size (u32), offset of the data from
//            the start of the file (u32)
//   data     the resources' bytes, anywhere after the entries
//
// The first entry of a type and id counts. A store that breaks this layout
// has no resources, and an entry whose data lies outside the data area gives
// nothing. The tool kvrsrc writes such stores.
//
// No locks: the object doesn't change after construction, and getResource
// opens the store afresh on every call.
class DynDLL : public iDLL
{
public:
    // A name that loads neither way prints why on the standard output.
    explicit DynDLL(const LightweightString<wchar_t>& name);
    ~DynDLL() override;
    DynDLL(const DynDLL&) = delete;
    DynDLL& operator=(const DynDLL&) = delete;

    const LightweightString<wchar_t>& getFilename() const override;
    bool valid() const override;
    bool containsFunction(const LightweightString<char>& name) const override;
    void* getFunction(const LightweightString<char>& name) const override;
    bool containsResource(const LightweightString<wchar_t>& type,
                          const LightweightString<wchar_t>& name) const override;
    Resource getResource(const LightweightString<wchar_t>& type,
                         const LightweightString<wchar_t>& name) const override;

private:
    // The store's host path beside whichever file was loaded; empty when none was.
    LightweightString<char> resourceStorePath() const;

    LightweightString<wchar_t> filename;
    void* handle = nullptr; // the name itself, from dlopen
    void* bundle = nullptr; // the library inside the plug-in folder, from dlopen
};
