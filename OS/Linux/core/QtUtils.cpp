#include "QtUtils.h"

#include "RootWindowImpl.h"

#include <cstdio>
#include <cstring>
#include <gio/gio.h>
#include <sys/utsname.h>

namespace
{
    // PRETTY_NAME of /etc/os-release, without its quotes; empty when there is none.
    void readDistributionName(char* name, size_t size)
    {
        name[0] = 0;
        FILE* release = std::fopen("/etc/os-release", "r");
        if (!release)
            return;
        char line[256];
        while (std::fgets(line, sizeof line, release)) {
            if (std::strncmp(line, "PRETTY_NAME=", 12) != 0)
                continue;
            const char* value = line + 12;
            if (*value == '"')
                ++value;
            std::snprintf(name, size, "%.*s", int(size - 1), value);
            name[std::strcspn(name, "\"\n")] = 0;
            break;
        }
        std::fclose(release);
    }

    // A GIO file for a UTF-8 path; the caller owns the reference.
    GFile* fileFor(const LightweightString<char>& path) { return g_file_new_for_path(path.c_str()); }
}

void QtUtils::setPresentationStyle(ePresentationStyle style) { RootWindowImpl::coverDesktop(style != ePresentationOff); }

int QtUtils::getPresentationStyle() { return RootWindowImpl::coversDesktop() ? 1 : 0; }

void QtUtils::getOSVersion(char* out)
{
    char distribution[160];
    readDistributionName(distribution, sizeof distribution);
    utsname system;
    uname(&system);
    if (distribution[0])
        std::snprintf(out, 256, "%.159s (Linux %.80s)", distribution, system.release);
    else
        std::snprintf(out, 256, "%.80s %.80s", system.sysname, system.release);
}

void QtUtils::addEventTap(GSource* tap)
{
    g_source_attach(tap, g_main_context_get_thread_default());
    g_source_unref(tap);
}

// Deliberately the negation of the host call: true when the delete failed.
bool QtUtils::deleteFile(const LightweightString<char>& path)
{
    GFile* file = fileFor(path);
    const bool deleted = g_file_delete(file, nullptr, nullptr);
    g_object_unref(file);
    return !deleted;
}

bool QtUtils::moveFile(const LightweightString<char>& from, const LightweightString<char>& to, bool overwrite)
{
    GFile* source = fileFor(from);
    GFile* target = fileFor(to);
    bool moved = false;
    if (overwrite || !g_file_query_exists(target, nullptr))
        moved = g_file_move(source, target, overwrite ? G_FILE_COPY_OVERWRITE : G_FILE_COPY_NONE, nullptr, nullptr,
                            nullptr, nullptr);
    g_object_unref(target);
    g_object_unref(source);
    return moved;
}
