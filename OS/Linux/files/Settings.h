#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iCriticalSection.h"
#include "iSettings.h"

#include <cstdio>
#include <map>

// One settings store: "<config>/<application>/UserSettings.txt" or
// "GlobalSettings.txt", <config> being $XDG_CONFIG_HOME or ~/.config, held as
// sorted maps. The file is read once, when the store is made, and written only
// by persist(), which replaces it whole or not at all.
//
// lock guards the maps for getValue, removeValue and the internal setValue;
// listing, saving and the dirty flag are the caller's to order.
class Settings : public iSettings
{
public:
    explicit Settings(eType type);

    bool setValue(const char* name, const char* value, const char* section) override;
    LightweightString<char> getValue(const char* name, const char* defaultValue, const char* section) const override;
    bool removeValue(const char* name, const char* section) override;
    bool getMultipleValues(NameValuePairs& pairs, const char* section) const override;
    void persist() override;

    // Empties the store and reads its file again.
    void restore();
    static LightweightString<wchar_t> getPath(eType type);
    void save(const LightweightString<wchar_t>& path);
    // Drops every byte after the last printable one.
    static LightweightString<char> trimEnd(const LightweightString<char>& text);

private:
    using Values = std::map<LightweightString<char>, LightweightString<char>>;

    // Whether anything changed; dirty is the caller's.
    bool setValue(const LightweightString<char>& name, const LightweightString<char>& value,
                  const LightweightString<char>& section);
    // The file's bytes: the sections in order, each value on a line.
    void write(FILE* file) const;
    // The global store's values without a section live in "Configuration".
    LightweightString<char> resolve(const char* section) const;

    std::map<LightweightString<char>, Values> sections;
    Kv::Ptr<iCriticalSection> lock;
    eType type;
    bool dirty;
};
