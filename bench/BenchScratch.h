#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

// One folder in /tmp for everything a benchmark program makes, made on first
// use and removed with all of it when the program ends.
inline const std::string& benchScratch()
{
    struct Folder
    {
        Folder()
        {
            char pattern[] = "/tmp/kvos_bench_XXXXXX";
            if (mkdtemp(pattern))
                path = pattern;
        }
        ~Folder()
        {
            std::error_code ignored;
            if (!path.empty())
                std::filesystem::remove_all(path, ignored);
        }
        std::string path;
    };
    static const Folder folder;
    return folder.path;
}
