#pragma once

#include <QStringList>
#include <string_view>

#include "desktop/program/open_request.hpp"

namespace ravant::desktop {

struct StartOptions {
  std::optional<std::filesystem::path> dataFolder;
  OpenRequest request;
  bool isActivated = false;  ///< by the session bus, whose message says what is to be shown
};

/// What is printed instead of a start: on standard output and with the status 0, or on standard error.
struct StartAnswer {
  std::string words;
  int status;
};

/// Needs no display, no application object and no home folder. `words` is the command line without the program.
std::variant<StartOptions, StartAnswer> startOptions(const QStringList& words, std::string_view version);

}  // namespace ravant::desktop
