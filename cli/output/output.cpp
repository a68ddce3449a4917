#include "cli/output/output.hpp"

#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "cli/output/command_error.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kUsualWidth = 80;

bool isCapableTerminal(int descriptor) {
  const char* terminal = std::getenv("TERM");
  return ::isatty(descriptor) == 1 && terminal && std::string_view(terminal) != "dumb";
}

std::optional<std::size_t> columnsOf(int descriptor) {
  winsize size{};
  const bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? std::optional<std::size_t>(size.ws_col) : std::nullopt;
}

}  // namespace

Style Style::of(int descriptor) {
  const char* refused = std::getenv("NO_COLOR");
  return Style(isCapableTerminal(descriptor) && !(refused && *refused) ? Colours::on : Colours::off,
               columnsOf(descriptor));
}

std::string Style::wrapped(std::string_view code, std::string_view text) const {
  if (colours_ == Colours::off || text.empty()) return std::string(text);
  return fmt::format("\x1b[{}m{}\x1b[0m", code, text);
}

bool Output::isTerminal() const { return ::isatty(descriptor_) == 1; }

std::optional<std::size_t> Output::terminalWidth() const {
  if (!isCapableTerminal(descriptor_)) return std::nullopt;
  return columnsOf(descriptor_).value_or(kUsualWidth);
}

void Output::json(const json::value& value) {
  std::string text = terminalSafeJson(compactJson(value));
  if (!pending_.empty()) return line(text);
  pending_ = std::move(text);
  pending_ += '\n';
}

void Output::jsonPart(const json::value& value) { write(terminalSafeJson(compactJson(value))); }

void Output::flush() {
  const std::string text = std::exchange(pending_, {});
  for (std::string_view rest = text; !rest.empty();) {
    // A pipe that can be written has room for this much. So only this call waits for a slow reader, and unlike a write
    // that has begun it is always left when the user interrupts it.
    pollfd ready{.fd = descriptor_, .events = POLLOUT, .revents = 0};
    if (::poll(&ready, 1, -1) < 0 && errno == EINTR) throw Interrupted();
    const ssize_t written = ::write(descriptor_, rest.data(), std::min<std::size_t>(rest.size(), PIPE_BUF));
    if (written >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE) {
      throw OutputClosed();
    } else if (errno == EINTR) {
      throw Interrupted();
    } else if (errno != EAGAIN) {
      throw std::system_error(errno, std::generic_category(), "standard output could not be written");
    }
  }
}

}  // namespace ravant::cli
