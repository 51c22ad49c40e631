#include "common.fxh"
/* a comment
 over lines */ float a;
float b = 1 + \
 2;
float c;
