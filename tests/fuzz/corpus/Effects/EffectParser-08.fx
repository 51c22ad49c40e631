float first;
#include "shared.fxh"
float last;
