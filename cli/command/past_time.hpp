#pragma once

#include <string_view>

#include "platform/clock/clock.hpp"

namespace ravant::cli {

/// The time that a word names: an ISO time, a day as this machine has it (`2026-11-21`), or how long ago it was (`90m`,
/// `3h`, `2d`, `1w`). Throws `UsageError`, which names the option.
Timestamp pastTime(std::string_view option, std::string_view word, Timestamp now);

}  // namespace ravant::cli
