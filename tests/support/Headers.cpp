// The precompiled header of the tests needs a source to be made for.
