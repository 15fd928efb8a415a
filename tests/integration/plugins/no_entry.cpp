// A shared library without the entry.
extern "C" __attribute__((visibility("default"))) int some_other_function() { return 1; }
