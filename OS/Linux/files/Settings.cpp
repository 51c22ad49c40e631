#include "Settings.h"

#include "CriticalSectionLock.h"
#include "iFileManager.h"
#include "iThreadManager.h"
#include "iUtils.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <glib.h>
#include <string>
#include <unistd.h>

namespace
{
    constexpr int kLineBuffer = 0x800;
    // A value line needs a name, "=", a value and its line end.
    constexpr size_t kShortestValueLine = 4;

    FILE* openPath(const LightweightString<wchar_t>& path, const wchar_t* mode)
    {
        return std::fopen(OS()->utils()->toUTF8(path).c_str(), OS()->utils()->narrow(mode).c_str());
    }
}

Settings::Settings(eType type) : type(type), dirty(false)
{
    lock = OS()->threadMgr()->createCriticalSection(0);
    restore();
}

LightweightString<char> Settings::resolve(const char* section) const
{
    if ((!section || !*section) && type == eGlobalSettings)
        return "Configuration";
    return section;
}

bool Settings::setValue(const char* name, const char* value, const char* section)
{
    if (setValue(LightweightString<char>(name), LightweightString<char>(value), resolve(section)))
        dirty = true;
    return true;
}

bool Settings::setValue(const LightweightString<char>& name, const LightweightString<char>& value,
                        const LightweightString<char>& section)
{
    CriticalSectionLock guard(lock);
    Values& values = sections[section];
    auto found = values.find(name);
    const bool changed = found == values.end() || !(found->second == value);
    values[name] = value;
    return changed;
}

LightweightString<char> Settings::getValue(const char* name, const char* defaultValue, const char* section) const
{
    CriticalSectionLock guard(lock);
    auto values = sections.find(resolve(section));
    if (values != sections.end()) {
        auto found = values->second.find(LightweightString<char>(name));
        if (found != values->second.end())
            return found->second;
    }
    return LightweightString<char>(defaultValue);
}

// An emptied section stays in memory; the file leaves it out.
bool Settings::removeValue(const char* name, const char* section)
{
    CriticalSectionLock guard(lock);
    auto values = sections.find(resolve(section));
    if (values == sections.end() || values->second.erase(LightweightString<char>(name)) == 0)
        return false;
    dirty = true;
    return true;
}

bool Settings::getMultipleValues(NameValuePairs& pairs, const char* section) const
{
    auto values = sections.find(resolve(section));
    if (values == sections.end())
        return false;
    for (const auto& [name, value] : values->second)
        pairs.push_back({name, value});
    return true;
}

// Only a change made here rewrites the file: one made outside is overwritten.
void Settings::persist()
{
    if (!dirty)
        return;
    save(getPath(type));
    dirty = false;
}

// Lines are judged as fgets gives them, so a line longer than the buffer is
// read in pieces, each judged alone. Short lines are dropped: "a=" with its
// line end is too short to be a value, and stays so.
void Settings::restore()
{
    sections.clear();
    dirty = false;
    FILE* file = openPath(getPath(type), L"r");
    if (!file)
        return;
    LightweightString<char> section;
    char line[kLineBuffer];
    while (std::fgets(line, sizeof line, file)) {
        if (line[0] == '[') {
            if (const char* end = std::strchr(line, ']'))
                section = LightweightString<char>(line + 1, unsigned(end - line - 1));
            continue;
        }
        if (std::strlen(line) < kShortestValueLine)
            continue;
        const char* equals = std::strchr(line, '=');
        if (!equals)
            continue;
        setValue(LightweightString<char>(line, unsigned(equals - line)), trimEnd(LightweightString<char>(equals + 1)),
                 section);
    }
    std::fclose(file);
}

// Made with its parents on every call, so that a first run, or a config
// folder removed while running, still saves; private to the user, as the XDG
// rules ask of a folder they make.
LightweightString<wchar_t> Settings::getPath(eType type)
{
    const LightweightString<wchar_t> folder =
        OS()->utils()->fromUTF8(g_get_user_config_dir(), -1) + L"/" + OS()->fileMgr()->getAppDescription();
    g_mkdir_with_parents(OS()->utils()->toUTF8(folder).c_str(), 0700);
    return folder + (type == eUserSettings ? L"/UserSettings.txt" : L"/GlobalSettings.txt");
}

// Written whole to a temporary file beside the store, flushed to the disk and
// only then renamed over it: a full disk or a crash mid-save leaves the
// previous file as it was. A save that fails loses the change silently.
void Settings::save(const LightweightString<wchar_t>& path)
{
    const std::string target = OS()->utils()->toUTF8(path).c_str();
    std::string temporary = target + ".XXXXXX";
    const int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor < 0)
        return;
    FILE* file = fdopen(descriptor, "w");
    if (!file) {
        close(descriptor);
        unlink(temporary.c_str());
        return;
    }
    write(file);
    const bool written = std::fflush(file) == 0 && !std::ferror(file) && fsync(descriptor) == 0;
    if (std::fclose(file) != 0 || !written || std::rename(temporary.c_str(), target.c_str()) != 0)
        unlink(temporary.c_str());
}

void Settings::write(FILE* file) const
{
    for (const auto& [section, values] : sections) {
        if (values.empty())
            continue;
        std::fprintf(file, "[%s]\n", section.c_str());
        for (const auto& [name, value] : values) {
            if (value.empty())
                std::fprintf(file, "%s%c\n", name.c_str(), '=');
            else
                std::fprintf(file, "%s%c%s\n", name.c_str(), '=', value.c_str());
        }
        std::fputc('\n', file);
    }
}

// Not a white-space trim: a space is printable and stays, while line ends,
// tabs and, in the "C" locale, non-ASCII bytes at the end go.
LightweightString<char> Settings::trimEnd(const LightweightString<char>& text)
{
    unsigned length = text.size();
    while (length > 0 && !std::isprint(static_cast<signed char>(text[length - 1])))
        --length;
    return text.substr(0, length);
}
