#include "desktop/start/display.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <ranges>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/libraries/late_library.hpp"

namespace ravant::desktop {
namespace {

constexpr std::array<const char*, 3> kXcbFunctions{"xcb_connect", "xcb_connection_has_error", "xcb_disconnect"};
constexpr LateLibrary kXcb("libxcb.so.1", kXcbFunctions);
constexpr LateFunction<kXcb, "xcb_connect", void*(const char*, int*)> kConnectTo{};
constexpr LateFunction<kXcb, "xcb_connection_has_error", int(void*)> kHasError{};
constexpr LateFunction<kXcb, "xcb_disconnect", void(void*)> kDisconnect{};

constexpr std::string_view kPlatformOption = "-platform";
constexpr std::string_view kUsualWayland = "wayland-0";

/// Empty where it is not set.
std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

/// By the library that Qt asks too, so that what keeps Qt out, such as a missing permission, is found.
bool answersX() {
  try {
    void* const connection = kConnectTo(nullptr, nullptr);
    const bool answers = kHasError(connection) == 0;
    kDisconnect(connection);
    return answers;
  } catch (const LateLibraryError&) {
    return false;
  }
}

bool answersWayland(std::string_view name) {
  const std::filesystem::path socket = std::filesystem::path(variable("XDG_RUNTIME_DIR")) / name;
  boost::asio::io_context context;
  boost::asio::local::stream_protocol::socket connection(context);
  boost::system::error_code fault;
  if (socket.native().size() < sizeof(sockaddr_un::sun_path)) {
    connection.connect(boost::asio::local::stream_protocol::endpoint(socket.native()), fault);
    return !fault;
  }
  return false;
}

/// Several may be given, each with options behind a colon; empty where Qt looks for itself.
std::string_view chosenPlatforms(std::span<char*> words) {
  std::string_view chosen = variable("QT_QPA_PLATFORM");
  for (std::size_t at = 1; at < words.size(); ++at) {
    std::string_view word = words[at];
    if (word.starts_with("--")) word.remove_prefix(1);
    if (word.starts_with(kPlatformOption) && word.substr(kPlatformOption.size()).starts_with('=')) {
      chosen = word.substr(kPlatformOption.size() + 1);
    } else if (word == kPlatformOption && at + 1 < words.size()) {
      chosen = words[++at];
    }
  }
  return chosen;
}

/// Names of the displays that Qt may take, empty for a kind that it is not to take.
struct Displays {
  std::string_view wayland;
  std::string_view x;

  std::string told() const {
    if (wayland.empty() && x.empty()) return "DISPLAY is not set";
    std::string names = wayland.empty() ? "" : fmt::format("WAYLAND_DISPLAY={}", wayland);
    if (!x.empty()) names += fmt::format("{}DISPLAY={}", names.empty() ? "" : " and ", x);
    return fmt::format(
        "nothing answers at {}, or it does not let you in; start it from your desktop, or set it to a display of yours",
        names);
  }
};

/// None where one of the platforms gets by without a display.
std::optional<Displays> displaysOf(std::string_view platforms) {
  Displays displays;
  for (const auto part : platforms | std::views::split(';')) {
    const std::string_view name(part.begin(), part.end());
    if (name.starts_with("wayland")) {
      displays.wayland = variable("WAYLAND_DISPLAY").empty() ? kUsualWayland : variable("WAYLAND_DISPLAY");
    } else if (name.starts_with("xcb")) {
      displays.x = variable("DISPLAY");
    } else if (!name.empty()) {
      return std::nullopt;
    }
  }
  return displays;
}

}  // namespace

void expectDisplay(int argc, char** argv) {
  const std::string_view platforms = chosenPlatforms({argv, static_cast<std::size_t>(argc)});
  Displays displays{.wayland = variable("WAYLAND_DISPLAY"), .x = variable("DISPLAY")};
  if (!platforms.empty()) {
    const auto needed = displaysOf(platforms);
    if (!needed) return;
    displays = *needed;
  } else if (displays.wayland.empty() && displays.x.empty()) {
    throw std::runtime_error("there is no display: neither WAYLAND_DISPLAY nor DISPLAY is set");
  }
  // Of a compositor that started this itself, and connected already.
  if (!displays.wayland.empty() && !variable("WAYLAND_SOCKET").empty()) return;
  if (!displays.wayland.empty() && answersWayland(displays.wayland)) return;
  if (!displays.x.empty() && answersX()) return;
  throw std::runtime_error(fmt::format("there is no display: {}", displays.told()));
}

}  // namespace ravant::desktop
