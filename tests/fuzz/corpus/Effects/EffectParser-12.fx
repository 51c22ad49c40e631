#define STEP (1.0/4.0)
float v = STEP * 2;