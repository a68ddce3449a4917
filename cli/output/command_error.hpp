#pragma once

#include <stdexcept>

namespace ravant::cli {

/// What was asked for cannot be done; `what()` is shown to the user.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The command line is wrong.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The user interrupted the program while it waited for input, or for its output to be read.
class Interrupted : public std::exception {};

}  // namespace ravant::cli
