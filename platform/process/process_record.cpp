#include "platform/process/process_record.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <memory>
#include <system_error>

#include "platform/process/descriptors.hpp"

namespace ravant {
namespace {

constexpr std::uint64_t kNanoseconds = 1'000'000'000;

std::uint64_t ticksPerSecond() {
  static const long ticks = ::sysconf(_SC_CLK_TCK);
  return ticks > 0 ? static_cast<std::uint64_t>(ticks) : 100;
}

timespec timeSinceBoot() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return now;
}

void throwIfScarce(int error, std::string_view path) {
  const bool isScarce = error == EMFILE || error == ENFILE || error == ENOMEM;
  if (isScarce) throw std::system_error(error, std::generic_category(), std::string(path));
}

template <class Number>
Number parsed(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

std::string processText(pid_t pid, std::string_view file) {
  const std::string path = fmt::format("/proc/{}/{}", pid, file);
  const UniqueFd descriptor = openFromReserve([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC); });
  if (!descriptor) throwIfScarce(errno, path);
  std::string contents;
  std::array<char, 16 * 1024> piece;
  while (descriptor) {
    const ssize_t count = ::read(descriptor.get(), piece.data(), piece.size());
    if (count < 0) throwIfScarce(errno, path);
    if (count <= 0) break;
    contents.append(piece.data(), static_cast<std::size_t>(count));
  }
  return contents;
}

std::optional<ProcessRecord> processRecord(pid_t pid) {
  const std::string stat = processText(pid, "stat");
  // The name in parentheses may itself hold blanks and parentheses.
  const std::size_t nameEnd = stat.rfind(") ");
  if (nameEnd == std::string::npos) return std::nullopt;

  std::array<std::string_view, 20> fields;  // from the third of proc(5) on
  std::string_view rest = std::string_view(stat).substr(nameEnd + 2);
  for (std::string_view& field : fields) {
    field = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(rest.size(), field.size() + 1));
  }

  ProcessRecord record;
  record.identity = {pid, parsed<std::uint64_t>(fields[19])};
  record.state = fields[0].empty() ? 'X' : fields[0].front();
  record.parent = parsed<pid_t>(fields[1]);
  record.group = parsed<pid_t>(fields[2]);
  record.session = parsed<pid_t>(fields[3]);
  // The first thread of a running program can have ended before the others.
  const bool hasThreads = parsed<int>(fields[17]) > 1;
  record.isZombie = (record.state == 'Z' && !hasThreads) || record.state == 'X';
  return record;
}

std::optional<ProcessIdentity> processIdentity(pid_t pid) {
  const auto record = processRecord(pid);
  return record ? std::optional(record->identity) : std::nullopt;
}

ProcessRecords processRecords() {
  constexpr const char* kFolder = "/proc";
  UniqueFd descriptor = openFromReserve([] { return ::open(kFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  const std::unique_ptr<DIR, decltype([](DIR* folder) { ::closedir(folder); })> folder(
      descriptor ? ::fdopendir(descriptor.get()) : nullptr);
  if (!folder) throw std::system_error(errno, std::generic_category(), kFolder);
  static_cast<void>(descriptor.release());

  ProcessRecords found;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(folder.get());
    if (entry == nullptr && errno != 0) throw std::system_error(errno, std::generic_category(), kFolder);
    if (entry == nullptr) return found;
    const auto pid = parsed<pid_t>(entry->d_name);
    if (pid <= 0) continue;
    if (const auto record = processRecord(pid)) {
      found.records.push_back(*record);
    } else {
      found.hasLostOne = true;
    }
  }
}

std::string processVariable(pid_t pid, std::string_view name) {
  const std::string environment = processText(pid, "environ");
  return std::string(variableOf(environment, name));
}

std::string_view variableOf(std::string_view environment, std::string_view name) {
  std::string_view rest = environment;
  while (!rest.empty()) {
    const std::string_view variable = rest.substr(0, rest.find('\0'));
    if (variable.starts_with(name) && variable.substr(name.size()).starts_with('=')) {
      return variable.substr(name.size() + 1);
    }
    rest.remove_prefix(std::min(rest.size(), variable.size() + 1));
  }
  return {};
}

std::uint64_t ticksSinceBoot() {
  const timespec now = timeSinceBoot();
  return static_cast<std::uint64_t>(now.tv_sec) * ticksPerSecond() +
         static_cast<std::uint64_t>(now.tv_nsec) * ticksPerSecond() / kNanoseconds;
}

std::chrono::nanoseconds restOfTick() {
  const std::uint64_t tick = kNanoseconds / ticksPerSecond();
  return std::chrono::nanoseconds(tick - static_cast<std::uint64_t>(timeSinceBoot().tv_nsec) % tick);
}

std::chrono::system_clock::time_point timeOfStart(const ProcessIdentity& process) {
  const std::uint64_t now = std::max(ticksSinceBoot(), process.startTime);
  return std::chrono::system_clock::now() -
         std::chrono::milliseconds((now - process.startTime) * 1000 / ticksPerSecond());
}

}  // namespace ravant
