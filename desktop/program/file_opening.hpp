#pragma once

#include <filesystem>

#include "app/application.hpp"

namespace ravant::desktop {

struct FilePlace {
  std::filesystem::path file;
  int line = 1;
  int column = 1;
};

/// Opens the file in the editor that the settings name, else, where it is a text that nothing would run or render, in
/// what the desktop opens such files with. Where it is none, or that cannot be started, the window says so and offers
/// the path. On the interface thread.
void openFile(const SettingsFile& settings, const FilePlace& place);

/// The same with the settings' file itself, which is made where there is none. Throws `std::runtime_error` where it
/// cannot be.
awaitable<void> openSettingsFile(Application& application);

}  // namespace ravant::desktop
