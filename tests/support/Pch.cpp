// Compiles the shared precompiled header of the test executables.
