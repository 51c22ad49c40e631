#pragma once

#include "OS.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

// A fresh folder under /tmp for each test, removed afterwards, with helpers to
// make and read real files in it.
class ScratchFolder : public testing::Test
{
public:
    // The library's wide form of a host path, and back.
    static LightweightString<wchar_t> wide(const std::string& path) { return OS()->utils()->fromUTF8(path.c_str(), -1); }
    static std::string narrow(const LightweightString<wchar_t>& name) { return OS()->utils()->toUTF8(name).c_str(); }
    static iFileManager* files() { return OS()->fileMgr(); }
    static std::string read(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    static void write(const std::string& path, const std::string& bytes)
    {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    }
    static bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/kvos-files-XXXXXX";
        folder = std::string(mkdtemp(pattern)) + "/";
    }

    void TearDown() override
    {
        std::system(("chmod -R u+w '" + folder + "' 2>/dev/null; rm -rf '" + folder + "'").c_str());
    }

    std::string make(const std::string& name, const std::string& text = "") const
    {
        write(folder + name, text);
        return folder + name;
    }

    std::string folder; // ends in "/"
};
