#include "platform/json/json_lines.hpp"

#include "platform/json/json.hpp"

namespace ravant {
namespace {

/// Goes over the names of members, however deep.
class NameReader {
 public:
  explicit NameReader(std::string_view text) : text_(text) {}

  struct Name {
    std::string text;
    std::size_t line;
    std::size_t depth;  ///< 1 in the outermost object
  };

  std::optional<Name> next() {
    while (at_ < text_.size()) {
      const char character = text_[at_];
      if (character == '"') {
        const std::string_view token = readString();
        if (isName()) return Name{.text = meaning(token), .line = line_, .depth = depth_};
        continue;
      }
      if (character == '{' || character == '[') ++depth_;
      if (character == '}' || character == ']') --depth_;
      if (character == '\n') ++line_;
      ++at_;
    }
    return std::nullopt;
  }

 private:
  std::string_view readString() {
    const std::size_t begin = at_++;
    while (text_[at_] != '"') at_ += text_[at_] == '\\' ? 2 : 1;
    return text_.substr(begin, ++at_ - begin);
  }

  bool isName() const {
    const std::size_t next = text_.find_first_not_of(" \t\r\n", at_);
    return next != std::string_view::npos && text_[next] == ':';
  }

  static std::string meaning(std::string_view token) {
    const auto value = parseJson(token);
    return value && value->is_string() ? std::string(value->get_string()) : std::string();
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
  std::size_t depth_ = 0;
};

}  // namespace

std::optional<std::size_t> memberLine(std::string_view text, std::string_view key) {
  std::optional<std::size_t> line;
  NameReader reader(text);
  while (const auto name = reader.next()) {
    if (name->depth == 1 && name->text == key) line = name->line;
  }
  return line;
}

std::vector<JsonMemberLine> memberLines(std::string_view text, std::string_view key) {
  std::vector<JsonMemberLine> found;
  bool isInside = false;
  NameReader reader(text);
  while (auto name = reader.next()) {
    if (name->depth == 1) {
      isInside = name->text == key;
      if (isInside) found.clear();
    } else if (name->depth == 2 && isInside) {
      std::erase_if(found, [&](const JsonMemberLine& member) { return member.name == name->text; });
      found.push_back({.name = std::move(name->text), .line = name->line});
    }
  }
  return found;
}

}  // namespace ravant
