#define F(a) a
float y = F(1,
#define G
2);
