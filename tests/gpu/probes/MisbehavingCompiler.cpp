// Stands in for the effect compiler process as a broken translator would:
// it reads the request, then aborts when the request defines ABORT and waits
// for ever when it defines HANG.

#include "EffectCompilerProcess.h"

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <unistd.h>

int main()
{
    std::string bytes;
    char buffer[65536];
    for (ssize_t got; (got = ::read(STDIN_FILENO, buffer, sizeof buffer)) > 0;)
        bytes.append(buffer, size_t(got));
    EffectCompilerProcess::Request request;
    if (!EffectCompilerProcess::decodeRequest(bytes, request))
        return 2;
    for (const auto& definition : request.definitions) {
        if (definition.first == "ABORT")
            std::abort();
        if (definition.first == "HANG")
            for (;;)
                std::this_thread::sleep_for(std::chrono::hours(1));
    }
    return 2;
}
