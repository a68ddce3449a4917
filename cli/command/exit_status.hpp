#pragma once

namespace ravant::cli {

/// The program's exit status.
enum class ExitStatus { done = 0, failed = 1, wrongCommandLine = 2, interrupted = 130 };

}  // namespace ravant::cli
