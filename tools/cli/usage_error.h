// The error of a command that was called wrongly.
#pragma once

#include <stdexcept>

/// The command line asks for something that cannot be done. The exit status is 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};
