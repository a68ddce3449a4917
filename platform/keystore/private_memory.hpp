#pragma once

namespace ravant {

/// Keeps other processes of the user from reading the memory and the environment of this one, where keys are, and the
/// system from writing them into a core file. Programs that are started have the user's own way again. Called first in
/// `main`.
///
/// The superuser reads everything all the same.
void keepMemoryPrivate();

}  // namespace ravant
