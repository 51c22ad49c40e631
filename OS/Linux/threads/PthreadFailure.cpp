#include "PthreadFailure.h"

#include <iostream>
#include <sstream>
#include <stdexcept>

void reportPthreadFailure(int code, const char* file, unsigned line)
{
    std::ostringstream report;
    report << file << "(" << line << ") : a pthread call failed (" << code << ")\n";
    std::cout << report.str() << std::flush;
}

void throwPthreadFailure(int code, const char* message, const char* file, unsigned line)
{
    reportPthreadFailure(code, file, line);
    throw std::runtime_error(message);
}

bool pthreadFailed(int code, const char* file, unsigned line)
{
    if (code == 0)
        return false;
    reportPthreadFailure(code, file, line);
    return true;
}
