#define LEVEL 2
#if LEVEL == 1
one
#elif LEVEL == 2
two
#else
other
#endif
#ifdef MISSING
no
#else
#ifndef MISSING
yes
#endif
#endif
#if (3 * 4) % 5 == 2 ? !defined MISSING : 0
math
#endif
#undef LEVEL
#ifdef LEVEL
gone
#endif
#pragma anything at all
