

#include "F:\nowhere\absent.fxh"
