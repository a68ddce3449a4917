#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/json/json.hpp"
#include "platform/settings/setting.hpp"

namespace ravant {

/// A JSON file of settings, made to be edited by hand: members it does not know and the order of all are kept.
///
/// A file that is not JSON is refused with an error that names the place, and never written; so is, when it is loaded,
/// one that holds a wrong value of a setting that insists. Two processes that set different settings at once lose
/// neither. Not for several threads at once. Every member throws SettingsError.
class SettingsFile {
 public:
  /// Reads nothing yet.
  SettingsFile(std::filesystem::path path, std::vector<SettingDescription> settings);

  /// Reads the file anew; one that is absent or blank holds no settings.
  void load();

  /// As of the last `load`, `set` or `reset`: the file's value, or the default.
  SettingValue get(std::string_view key) const;
  std::string text(std::string_view key) const { return std::get<std::string>(get(key)); }
  std::int64_t integer(std::string_view key) const { return std::get<std::int64_t>(get(key)); }
  bool boolean(std::string_view key) const { return std::get<bool>(get(key)); }

  /// The members of the outermost object's member `key`, in the order of the file; where that is another value than
  /// an object, one without a name.
  std::vector<SettingMember> members(std::string_view key) const;

  /// Changes that one setting in the file as it is now. A symbolic link stays one: its target is replaced.
  void set(std::string_view key, const SettingValue& value);
  /// Removes the setting from the file, and the objects around it that become empty.
  void reset(std::string_view key);

  const SettingDescription& description(std::string_view key) const;
  const std::vector<SettingDescription>& descriptions() const { return descriptions_; }
  const std::filesystem::path& path() const { return path_; }

 private:
  struct Contents {
    std::string text;
    json::object root;
  };

  Contents read() const;
  json::object parsed(std::string_view text) const;
  void expectAllowedValues(const json::object& root) const;
  void expectRoomFor(std::string_view key, const json::object& root) const;
  template <class Change>
  void rewrite(std::string_view key, Change change);

  std::filesystem::path path_;
  std::vector<SettingDescription> descriptions_;
  Contents contents_;
};

}  // namespace ravant
