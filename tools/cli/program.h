// The program `krw`: a host for the reader plug-in on the command line.
#pragma once

/// Runs one command line, as `main` gets it. Results go to standard output, complaints to standard error.
/// Returns the exit status: 0 all well, 1 something in a clip or with an output is wrong, 2 wrong usage.
int runKrw(int argc, const char* const* argv);
