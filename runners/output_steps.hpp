#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ravant {

/// In which steps the output of a tool call that runs is stored, where its agent tells the whole of it again and again.
/// A short one is stored each time, a longer one when its size has changed by a sixteenth, so that the steps of one
/// that grows together stay within some twenty times of it.
class OutputSteps {
 public:
  /// The output as it is to be stored; nothing while that is not worth it.
  std::optional<std::string> next(std::string_view output);

  /// At most a mebibyte of it, its end, behind a mark where something is left out.
  static std::string shortened(std::string_view output);

 private:
  std::optional<std::size_t> toldSize_;
};

}  // namespace ravant
