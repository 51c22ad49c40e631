#define F(a, b) a
float y = F(1,
  2, 3);
