#include "StdioFile.h"

StdioFile::StdioFile(const char* path, const char* mode) : file_(std::fopen(path, mode)) {}

StdioFile::~StdioFile()
{
    if (file_)
        std::fclose(file_);
}

bool StdioFile::close()
{
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    return closed;
}
