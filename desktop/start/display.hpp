#pragma once

namespace ravant::desktop {

/// Throws `std::runtime_error` where no display is named, or none of those that are named answers: Qt would end the
/// program at once. Blocks while it asks. Where a platform was chosen for Qt, on the command line or in the
/// environment, only the display that it needs counts, if any.
void expectDisplay(int argc, char** argv);

}  // namespace ravant::desktop
