#define HEADER <onlySecond.fxh>
#include HEADER