#include "core/store/database_files.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <string>
#include <system_error>

#include "platform/process/unique_fd.hpp"

namespace ravant {
namespace {

constexpr std::size_t kDateAndHour = 13;  // 2026-11-21T09

std::string beginningOf(const std::filesystem::path& store) { return store.stem().string() + "-version-"; }

std::optional<Timestamp> timeOf(std::string text) {
  if (text.size() != kDateAndHour + 4) return std::nullopt;
  text.insert(kDateAndHour + 2, ":");
  text.insert(kDateAndHour, ":");
  return parseIso8601(text + "Z");
}

}  // namespace

std::filesystem::path withEnding(const std::filesystem::path& database, std::string_view ending) {
  return std::filesystem::path(database) += ending;
}

void removeWithJournals(const std::filesystem::path& database) {
  std::filesystem::remove(database);
  for (const std::string_view journal : kJournals) std::filesystem::remove(withEnding(database, journal));
}

void syncToDisk(const std::filesystem::path& path) {
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0 || ::fsync(file.get()) != 0)
    throw std::system_error(errno, std::generic_category(), path.string());
}

std::string fileTime(Timestamp time) {
  std::string text = iso8601(std::chrono::floor<std::chrono::seconds>(time)).substr(0, kDateAndHour + 6);
  std::erase(text, ':');
  return text;
}

std::filesystem::path KeptStore::nameFor(const std::filesystem::path& store) const {
  return store.parent_path() /
         fmt::format("{}{}-{}{}", beginningOf(store), version, fileTime(upgradedAt), store.extension().string());
}

std::optional<KeptStore> KeptStore::read(const std::filesystem::path& name, const std::filesystem::path& store) {
  const std::string beginning = beginningOf(store);
  const std::string stem = name.stem().string();
  if (name.extension() != store.extension() || !stem.starts_with(beginning)) return std::nullopt;
  int version = 0;
  const char* end = stem.data() + stem.size();
  const auto [behind, error] = std::from_chars(stem.data() + beginning.size(), end, version);
  if (error != std::errc() || behind == end || *behind != '-') return std::nullopt;
  const auto time = timeOf(std::string(behind + 1, end));
  return time ? std::optional(KeptStore{.version = version, .upgradedAt = *time}) : std::nullopt;
}

}  // namespace ravant
