// A library that loads well and is no plug-in.
extern "C" __attribute__((visibility("default"))) int some_function();
extern "C" int some_function() { return 1; }
