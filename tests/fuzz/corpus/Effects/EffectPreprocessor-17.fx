float a;
#line 40
float b;
#define HERE 70 "gen\\erated.fx"
#line HERE
float c;
#include "part.fxh"
float d;
#if 0
#line 1 "skipped.fx"
#endif
float e;
