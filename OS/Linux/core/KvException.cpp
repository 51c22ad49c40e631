#include "KvException.h"

namespace Kv::Exception
{
    // Out of line so that the type information lives in the library, one for
    // the library and its application.
    Base::~Base() = default;
}
