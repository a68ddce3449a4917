#pragma once

namespace ravant::desktop {

/// Throws `std::runtime_error` where no display is named, or none of those that are named answers: Qt would end the
/// program at once. Blocks while it asks. A platform that was chosen for Qt, on the command line or in the environment,
/// is Qt's to look for.
void expectDisplay(int argc, char** argv);

}  // namespace ravant::desktop
