#define A xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx xxxxxxxxxx
#define B A A A A A A A A A A
#define C B B B B B B B B B B
#define D C C C C C C C C C C
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
#if D
#endif
x
