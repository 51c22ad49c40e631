float a;
#endif
#if 1 / 0
#endif
#include "absent.fxh"
#bogus
#if 1
