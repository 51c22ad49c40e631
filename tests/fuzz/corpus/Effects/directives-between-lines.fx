#define A xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx
#define B A A A A A A A A A A
#define C B B B B B B B B B B
#define D C C C C C C C C C C
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
#line D
x
#include D
x
