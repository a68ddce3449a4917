#include "desktop/start/display.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/libraries/late_library.hpp"

namespace ravant::desktop {
namespace {

constexpr std::array<const char*, 3> kXcbFunctions{"xcb_connect", "xcb_connection_has_error", "xcb_disconnect"};
constexpr LateLibrary kXcb("libxcb.so.1", kXcbFunctions);
constexpr LateFunction<kXcb, "xcb_connect", void*(const char*, int*)> connectTo{};
constexpr LateFunction<kXcb, "xcb_connection_has_error", int(void*)> hasError{};
constexpr LateFunction<kXcb, "xcb_disconnect", void(void*)> disconnect{};

/// Empty where it is not set.
std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

/// By the library that Qt asks too, so that what keeps Qt out, such as a missing permission, is found.
bool answersX() {
  try {
    void* const connection = connectTo(nullptr, nullptr);
    const bool answers = hasError(connection) == 0;
    disconnect(connection);
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

}  // namespace

void expectDisplay(int argc, char** argv) {
  const bool isChosen = std::any_of(argv + 1, argv + argc, [](std::string_view word) {
    return word.ends_with("-platform") || word.find("-platform=") != word.npos;
  });
  if (isChosen || !variable("QT_QPA_PLATFORM").empty()) return;
  const std::string_view wayland = variable("WAYLAND_DISPLAY");
  const std::string_view x = variable("DISPLAY");
  if (wayland.empty() && x.empty()) {
    throw std::runtime_error("there is no display: neither WAYLAND_DISPLAY nor DISPLAY is set");
  }
  if ((!wayland.empty() && answersWayland(wayland)) || (!x.empty() && answersX())) return;
  std::string names = wayland.empty() ? "" : fmt::format("WAYLAND_DISPLAY={}", wayland);
  if (!x.empty()) names += fmt::format("{}DISPLAY={}", names.empty() ? "" : " and ", x);
  throw std::runtime_error(fmt::format(
      "there is no display: nothing answers at {}, or it does not let you in; start it from your desktop, or set it to "
      "a display of yours",
      names));
}

}  // namespace ravant::desktop
