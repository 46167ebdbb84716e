// A library for the loader tests, kept out of the system's search.
extern "C" __attribute__((visibility("default"))) int LoadeeAnswer() { return 42; }
