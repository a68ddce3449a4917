#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ravant {

using SettingValue = std::variant<std::string, std::int64_t, bool>;

enum class SettingType { text, integer, boolean, choice };

/// What a value in the file that is wrong for its setting does: keeps the file from being loaded, or nothing, so that
/// whoever uses the setting tells of it. In a text of the latter kind null stands for the empty one.
enum class WrongValue { refusesFile, countsAsDefault };

struct SettingDescription {
  /// Dots nest: `endpoints.github` is `{"endpoints": {"github": …}}` in the file.
  std::string key;
  SettingType type = SettingType::text;
  SettingValue defaultValue;
  std::string description;
  /// The texts a choice allows.
  std::vector<std::string> choices = {};
  /// The least and the greatest whole number.
  std::int64_t least = std::numeric_limits<std::int64_t>::min();
  std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
  WrongValue whenWrong = WrongValue::refusesFile;
};

/// A member of an object in the file, whether a setting or not.
struct SettingMember {
  std::string name;
  std::optional<std::string> text;  ///< empty for null; nothing where it is another value than a text
  std::size_t line;                 ///< counted from 1
};

class SettingsError : public std::runtime_error {
 public:
  enum class Case { unreadable, notJson, wrongValue, unknownKey, unwritable };

  SettingsError(Case reason, const std::string& words) : std::runtime_error(words), reason_(reason) {}
  Case reason() const noexcept { return reason_; }

 private:
  Case reason_;
};

bool isAllowed(const SettingDescription& setting, const SettingValue& value);

/// What a setting takes, for a sentence: `true or false`, `one of "light", "dark"`.
std::string expectation(const SettingDescription& setting);

/// The value that `text`, as a person typed it, has for a setting. Throws SettingsError (wrongValue).
SettingValue settingFromText(const SettingDescription& setting, std::string_view text);

/// The inverse.
std::string settingText(const SettingValue& value);

}  // namespace ravant
