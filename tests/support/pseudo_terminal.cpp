#include "tests/support/pseudo_terminal.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace ravant::test {

PseudoTerminal::PseudoTerminal(unsigned short columns) : other_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  std::array<char, 64> name{};
  if (::grantpt(other_.get()) != 0 || ::unlockpt(other_.get()) != 0 ||
      ::ptsname_r(other_.get(), name.data(), name.size()) != 0) {
    throw std::system_error(errno, std::generic_category(), "a terminal could not be made");
  }
  device_ = UniqueFd(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  ::tcgetattr(device_.get(), &settings);
  ::cfmakeraw(&settings);
  const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
  if (::tcsetattr(device_.get(), TCSANOW, &settings) != 0 || ::ioctl(device_.get(), TIOCSWINSZ, &size) != 0) {
    throw std::system_error(errno, std::generic_category(), name.data());
  }
  ::fcntl(other_.get(), F_SETFL, O_NONBLOCK);
}

std::string PseudoTerminal::read() const {
  std::string text;
  std::array<char, 4096> piece;
  for (ssize_t count; (count = ::read(other_.get(), piece.data(), piece.size())) > 0;) {
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
  return text;
}

std::string screenOf(std::string_view written) {
  std::string lines;
  std::string line;
  std::size_t column = 0;  // in bytes
  while (!written.empty()) {
    if (written.starts_with("\x1b[")) {
      const std::size_t end = written.find_first_of("mK");
      if (end == std::string_view::npos) throw std::runtime_error("an escape sequence has no end");
      if (written[end] == 'K') line.resize(column);
      written.remove_prefix(end + 1);
      continue;
    }
    const char byte = written.front();
    written.remove_prefix(1);
    if (byte == '\n') {
      lines += line + '\n';
      line.clear();
      column = 0;
    } else if (byte == '\r') {
      column = 0;
    } else {
      line.resize(std::max(line.size(), column + 1), ' ');
      line[column++] = byte;
    }
  }
  return lines + line;
}

}  // namespace ravant::test
