// A plug-in for the dynamic library tests: one exported C function, whose
// result shows that the call reached this code.
extern "C" __attribute__((visibility("default"))) int kvosTestPluginTwiceAndOne(int value)
{
    return 2 * value + 1;
}
