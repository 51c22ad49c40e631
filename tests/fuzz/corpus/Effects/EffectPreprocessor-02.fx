#define loop loop + 1
#define f(x) x
loop; f;
