#include "PthreadFailure.h"

#include <iostream>
#include <sstream>
#include <stdexcept>

void reportPthreadFailure(int code, std::source_location where)
{
    std::ostringstream report;
    report << where.file_name() << "(" << where.line() << ") : a pthread call failed (" << code << ")\n";
    std::cout << report.str() << std::flush;
}

void throwPthreadFailure(int code, const char* message, std::source_location where)
{
    reportPthreadFailure(code, where);
    throw std::runtime_error(message);
}

bool pthreadFailed(int code, std::source_location where)
{
    if (code == 0)
        return false;
    reportPthreadFailure(code, where);
    return true;
}
