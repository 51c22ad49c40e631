// A library with nothing in it but a resource store beside it.
extern "C" __attribute__((visibility("default"))) int kvosStorePlugin() { return 1; }
