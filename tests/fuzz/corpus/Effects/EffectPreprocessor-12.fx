#define F(a, b) a
float x;
float y = F(1,
2