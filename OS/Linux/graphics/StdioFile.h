#pragma once

#include <cstdio>

// A C stream owned for one scope, for the codecs that read and write through
// their libraries' stdio interfaces.
class StdioFile
{
public:
    StdioFile(const char* path, const char* mode);
    ~StdioFile();

    StdioFile(const StdioFile&) = delete;
    StdioFile& operator=(const StdioFile&) = delete;

    FILE* get() const { return file_; }
    // For writers: false when the bytes did not all reach the file.
    bool close();

private:
    FILE* file_;
};
