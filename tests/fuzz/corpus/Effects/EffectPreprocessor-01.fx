#define NAME(a) #a
#define JOIN(a, b) a ## b
#define TWICE(x) ((x) + (x))
#define ONE 1
string s = NAME(hello  world);
float JOIN(tex, 0) = TWICE(ONE);
float JOIN(ONE, 2);
