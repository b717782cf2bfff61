// A shared library that is no filter module.
extern "C" [[gnu::visibility("default")]] int somethingElse() { return 1; }
