#pragma once

#include <functional>
#include <memory>

#include "app/application.hpp"
#include "app/locations.hpp"

namespace ravant::desktop {

/// Opens the store. Where that takes long, a window says so, behind `dress`, until it is open. Throws what
/// `Application::open` throws; null where the user closed that window
/// meanwhile, and nobody has shown it again.
///
/// Before the program's own loop runs.
std::unique_ptr<Application> openStore(const Locations& locations, const std::function<void()>& dress);

}  // namespace ravant::desktop
