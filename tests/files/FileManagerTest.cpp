#include "OS.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <unistd.h>

namespace
{
    std::string executable()
    {
        char path[PATH_MAX] = {};
        readlink("/proc/self/exe", path, sizeof path - 1);
        return path;
    }

    std::wstring wide(const LightweightString<wchar_t>& text) { return std::wstring(text.c_str(), text.size()); }
}

TEST(FileManager, KnowsTheRunningApplication)
{
    iFileManager* files = OS()->fileMgr();
    const std::string path = executable();
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const std::string name = path.substr(path.rfind('/') + 1);
    EXPECT_EQ(wide(files->getAppPath()), std::wstring(folder.begin(), folder.end()));
    EXPECT_EQ(wide(files->getAppName()), std::wstring(name.begin(), name.end()));
    EXPECT_EQ(wide(files->getAppDescription()), wide(files->getAppName()));
    EXPECT_EQ(files->getPathSeparator(), L'/');
}
