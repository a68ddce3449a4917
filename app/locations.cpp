#include "app/locations.hpp"

#include <cstdlib>
#include <stdexcept>

namespace ravant {
namespace {

std::optional<std::filesystem::path> pathVariable(const char* name) {
  const char* value = std::getenv(name);
  return value && *value ? std::optional<std::filesystem::path>(value) : std::nullopt;
}

/// A folder of the XDG Base Directory Specification 0.8, where a relative path in the variable is to
/// be ignored.
std::filesystem::path xdgFolder(const char* variable, const char* belowHome) {
  if (const auto chosen = pathVariable(variable); chosen && chosen->is_absolute()) return *chosen;
  const auto home = pathVariable("HOME");
  if (!home) throw std::runtime_error("no home folder is known: set HOME");
  return *home / belowHome;
}

}  // namespace

Locations Locations::find(std::optional<std::filesystem::path> chosen) {
  if (const auto home = pathVariable("HOME"); home && home->is_relative()) {
    throw std::runtime_error("HOME is \"" + home->string() +
                             "\", which is no absolute path: set it to your home folder");
  }
  if (chosen && chosen->empty()) throw std::runtime_error("the data folder's name is empty");
  if (!chosen) chosen = pathVariable("RAVANT_DATA_DIR");
  const auto dataFolder = chosen ? *chosen : xdgFolder("XDG_DATA_HOME", ".local/share") / "ravant";
  return {.dataFolder = std::filesystem::absolute(dataFolder).lexically_normal(),
          .settingsFile = std::filesystem::absolute(xdgFolder("XDG_CONFIG_HOME", ".config") / "ravant/settings.json")};
}

}  // namespace ravant
