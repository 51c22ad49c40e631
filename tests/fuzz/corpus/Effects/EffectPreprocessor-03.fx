#if STRENGTH > 1 && defined(PROFILE)
PROFILE
#endif
