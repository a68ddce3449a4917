#include "platform/settings/settings_file.hpp"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

const std::filesystem::path& file() {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("ravant-fuzz-" + std::to_string(::getpid())) / "settings.json";
  static const bool isMade = std::filesystem::create_directories(path.parent_path());
  static_cast<void>(isMade);
  return path;
}

std::string contents() {
  std::ifstream in(file(), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

SettingsFile settings() {
  return {file(),
          {{.key = "shell.startSeconds", .type = SettingType::integer, .defaultValue = std::int64_t{30}, .least = 1},
           {.key = "keyStore",
            .type = SettingType::choice,
            .defaultValue = std::string("file"),
            .choices = {"file", "secretService"}},
           {.key = "theme", .type = SettingType::text, .defaultValue = std::string()}}};
}

}  // namespace
}  // namespace ravant::fuzz

// A file that is refused stays as it was; one that is taken can be changed and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const std::string before(fuzz::text(bytes, size));
  std::ofstream(fuzz::file(), std::ios::binary) << before;
  SettingsFile written = fuzz::settings();
  try {
    written.load();
    written.set("theme", std::string("dark"));
  } catch (const SettingsError&) {
    fuzz::expect(fuzz::contents() == before, "a refused file is not touched");
    return 0;
  }
  SettingsFile read = fuzz::settings();
  read.load();
  fuzz::expect(read.text("theme") == "dark", "what was set is read");
  fuzz::expect(read.integer("shell.startSeconds") == written.integer("shell.startSeconds"), "the others stay");
  return 0;
}
