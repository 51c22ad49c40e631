#define MIX(a, b, c) lerp(a, b, c)
#define NAME(x) #x
float4 v = MIX(float4(1, 0, 0, 1),
               float4(0, 1, 0, 1),
               0.5); float after;
string s = NAME(two
                words);
float w = MIX
  (1, 2, 3);
float MIX;
float last;
