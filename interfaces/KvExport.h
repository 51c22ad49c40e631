#pragma once

// Marks what the library shows to its application: the entry point, the
// interfaces (their type information must be one across the library and the
// application for dynamic casts and exceptions) and the few public classes.
#define KV_API __attribute__((visibility("default")))
