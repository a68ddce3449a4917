#pragma once

#include <string>
#include <string_view>

#include "platform/process/unique_fd.hpp"

namespace ravant::test {

/// A terminal that adds nothing to what is written to it.
class PseudoTerminal {
 public:
  explicit PseudoTerminal(unsigned short columns = 80);

  /// Where a program writes to. What it wrote is read from the other end, also after it is closed.
  int device() const { return device_.get(); }
  UniqueFd takeDevice() { return std::move(device_); }
  UniqueFd takeOtherEnd() { return std::move(other_); }

  /// What was written since the last call.
  std::string read() const;

 private:
  UniqueFd other_;
  UniqueFd device_;
};

/// What a terminal shows that was given `written`, of which it knows line feeds, carriage returns, the erasing of the
/// rest of a line and colours.
std::string screenOf(std::string_view written);

}  // namespace ravant::test
