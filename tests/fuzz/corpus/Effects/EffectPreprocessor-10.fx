float a;
#include <absent.fxh>
