// A source file is necessary to build the tests' precompiled header.
