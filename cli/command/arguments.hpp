#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::cli {

/// The arguments of one command, by the names of its positionals and options. All valid UTF-8.
class Arguments {
 public:
  void add(std::string_view name, std::vector<std::string> values);

  bool has(std::string_view name) const { return values_.contains(name); }
  /// Of an argument that is always there.
  const std::string& text(std::string_view name) const { return values_.at(std::string(name)).front(); }
  std::optional<std::string> optional(std::string_view name) const;
  /// Of one that was checked to be a count.
  std::optional<std::int64_t> count(std::string_view name) const;
  std::vector<std::string> list(std::string_view name) const;

 private:
  std::map<std::string, std::vector<std::string>, std::less<>> values_;
};

}  // namespace ravant::cli
