#include "inner.fxh"
float outer;
