#pragma once

#include "LightweightString.h"
#include "StdAllocator.h"
#include "iObject.h"

#include <vector>

// Named values in sections, read once from a text file and written back only
// by persist(). A null or empty section is the section before the first
// header; in the global store it is "Configuration". Values are bytes as
// given, normally UTF-8.
class KV_API iSettings : public virtual iObject
{
public:
    enum eType
    {
        eUserSettings = 0,   // "UserSettings.txt"
        eGlobalSettings = 1, // "GlobalSettings.txt"
    };

    struct NameValuePair
    {
        LightweightString<char> name;
        LightweightString<char> value;
    };
    using NameValuePairs = std::vector<NameValuePair, StdAllocator<NameValuePair>>;

    virtual bool setValue(const char* name, const char* value, const char* section) = 0;
    // The default, or empty without one, when the value is missing.
    virtual LightweightString<char> getValue(const char* name, const char* defaultValue,
                                             const char* section) const = 0;
    virtual bool removeValue(const char* name, const char* section) = 0;
    // Appends the section's values in name order; false when there is no such
    // section. Not guarded against changes from another thread.
    virtual bool getMultipleValues(NameValuePairs& pairs, const char* section) const = 0;
    // Writes the file if this store changed it; nothing is saved otherwise,
    // nor when the store dies.
    virtual void persist() = 0;
};
