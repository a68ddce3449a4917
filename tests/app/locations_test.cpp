#include "app/locations.hpp"

#include <gmock/gmock.h>

#include <cstdlib>
#include <map>
#include <stdexcept>

namespace ravant::test {
namespace {

struct LocationCase {
  const char* name;
  std::map<std::string, std::string> environment;
  std::optional<std::filesystem::path> chosen;
  const char* data;
  const char* settings;
};

std::ostream& operator<<(std::ostream& out, const LocationCase& row) { return out << row.name; }

class UserLocations : public testing::TestWithParam<LocationCase> {
 protected:
  void SetUp() override {
    for (const char* name : {"HOME", "RAVANT_DATA_DIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
      const char* value = std::getenv(name);
      before_[name] = value ? std::optional<std::string>(value) : std::nullopt;
      ::unsetenv(name);
    }
  }
  void TearDown() override {
    for (const auto& [name, value] : before_) {
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
  }

 private:
  std::map<std::string, std::optional<std::string>> before_;
};

TEST_P(UserLocations, followTheEnvironment) {
  for (const auto& [name, value] : GetParam().environment) ::setenv(name.c_str(), value.c_str(), 1);
  const Locations found = Locations::find(GetParam().chosen);
  EXPECT_EQ(found.dataFolder, GetParam().data);
  EXPECT_EQ(found.settingsFile, GetParam().settings);
}

INSTANTIATE_TEST_SUITE_P(
    Environments, UserLocations,
    testing::Values(
        LocationCase{
            "home", {{"HOME", "/home/u"}}, {}, "/home/u/.local/share/ravant", "/home/u/.config/ravant/settings.json"},
        LocationCase{"xdgFolders",
                     {{"HOME", "/home/u"}, {"XDG_DATA_HOME", "/d"}, {"XDG_CONFIG_HOME", "/c"}},
                     {},
                     "/d/ravant",
                     "/c/ravant/settings.json"},
        LocationCase{"relativeXdgFolderIsIgnored",
                     {{"HOME", "/home/u"}, {"XDG_DATA_HOME", "d"}},
                     {},
                     "/home/u/.local/share/ravant",
                     "/home/u/.config/ravant/settings.json"},
        LocationCase{"variableBeforeXdg",
                     {{"HOME", "/home/u"}, {"RAVANT_DATA_DIR", "/r"}, {"XDG_DATA_HOME", "/d"}},
                     {},
                     "/r",
                     "/home/u/.config/ravant/settings.json"},
        LocationCase{"chosenBeforeAll",
                     {{"HOME", "/home/u"}, {"RAVANT_DATA_DIR", "/r"}},
                     "/x/../y",
                     "/y",
                     "/home/u/.config/ravant/settings.json"}),
    [](const auto& row) { return row.param.name; });

TEST_F(UserLocations, needAHome) {
  EXPECT_THROW(Locations::find({}), std::runtime_error);
  ::setenv("HOME", "home/u", 1);
  EXPECT_THROW(Locations::find({}), std::runtime_error);
  EXPECT_THROW(Locations::find("/chosen"), std::runtime_error);
}

}  // namespace
}  // namespace ravant::test
