#pragma once

#include <QString>

#include "core/window/key_sequence.hpp"

namespace ravant::desktop {

/// Keys as everything in the window writes them: "Ctrl Shift F", "Del"; chords that follow each other with a comma.
QString shownKeys(const KeySequence& keys);

}  // namespace ravant::desktop
