#include "lib/outer.fxh"
float top;
