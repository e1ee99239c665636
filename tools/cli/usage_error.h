// The error of a command that was called wrongly.
#pragma once

#include <stdexcept>

/// A wish that the program cannot fulfil because of how it was called: exit status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};
