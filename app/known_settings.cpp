#include "app/known_settings.hpp"

namespace ravant {

std::vector<SettingDescription> knownSettings() {
  return {{.key = std::string(setting::kShellStartSeconds),
           .type = SettingType::integer,
           .defaultValue = std::int64_t{30},
           .description = "How many seconds the login shell may take to read its start-up files",
           .least = 1,
           .greatest = 3600}};
}

}  // namespace ravant
