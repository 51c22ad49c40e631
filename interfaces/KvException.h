#pragma once

#include "KvExport.h"
#include "LightweightString.h"
#include "StdAllocator.h"

#include <vector>

namespace Kv::Exception
{
    // The library's own exception. It carries its fields and nothing more: no
    // what(), and no std::exception base. The texts are literals, not owned.
    class KV_API Base
    {
    public:
        Base(const char* kind, const char* message, const char* file, int line)
            : kind(kind), message(message), file(file), line(line)
        {
        }
        virtual ~Base();

        // Room for stack lines; the library's own throw sites leave it empty.
        std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>> trace;
        const char* kind;
        const char* message;
        const char* file;
        int line;
    };

    class KV_API RuntimeError : public Base
    {
    public:
        RuntimeError(const char* message, const char* file, int line) : Base("RuntimeError", message, file, line) {}
    };
}
