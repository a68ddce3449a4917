#pragma once

#include <string>
#include <string_view>

namespace ravant {

/// What is looked for in the stored input or output of a tool: the text itself, or where it is JSON (an object or a
/// list) with escaped characters, the same with the characters that they stand for, in `room`. So a line break parts
/// the words of a file that an agent wrote.
std::string_view searchedText(std::string_view stored, std::string& room);

}  // namespace ravant
