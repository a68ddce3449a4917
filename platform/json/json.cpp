#include "platform/json/json.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <charconv>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "platform/json/json_reading.hpp"

namespace ravant {
namespace {

enum class Layout { compact, indented };

/// Numbers are written in their shortest form, which Boost.JSON does not do.
class Writer {
 public:
  explicit Writer(Layout layout) : layout_(layout) {}

  void write(const json::value& value) {
    if (const auto* object = value.if_object()) {
      const auto number = numberText(*object);
      number ? void(text_ += *number) : write(*object);
    } else if (const auto* array = value.if_array()) {
      write(*array);
    } else if (const auto* number = value.if_double()) {
      if (!std::isfinite(*number)) throw std::domain_error("JSON has no number that is not finite");
      fmt::format_to(std::back_inserter(text_), "{}", *number);
    } else {
      text_ += json::serialize(value);
    }
  }
  std::string take() { return std::move(text_); }

 private:
  void write(const json::object& object) {
    begin('{');
    for (bool isFirst = true; const auto& [key, value] : object) {
      separate(std::exchange(isFirst, false));
      text_ += json::serialize(key);
      text_ += layout_ == Layout::indented ? ": " : ":";
      write(value);
    }
    end('}', object.empty());
  }

  void write(const json::array& array) {
    begin('[');
    for (bool isFirst = true; const auto& value : array) {
      separate(std::exchange(isFirst, false));
      write(value);
    }
    end(']', array.empty());
  }

  void begin(char bracket) {
    text_ += bracket;
    ++depth_;
  }
  void separate(bool isFirst) {
    if (!isFirst) text_ += ',';
    breakLine();
  }
  void end(char bracket, bool isEmpty) {
    --depth_;
    if (!isEmpty) breakLine();
    text_ += bracket;
  }
  void breakLine() {
    if (layout_ == Layout::compact) return;
    text_ += '\n';
    text_.append(depth_ * 2, ' ');
  }

  Layout layout_;
  std::size_t depth_ = 0;
  std::string text_;
};

std::string written(const json::value& value, Layout layout) {
  Writer writer(layout);
  writer.write(value);
  return writer.take();
}

/// Whether the four digits behind `\u` at `position` are in [least, most].
bool isEscape(std::string_view text, std::size_t position, unsigned least, unsigned most) {
  if (position + 6 > text.size() || !text.substr(position).starts_with("\\u")) return false;
  unsigned unit = 0;
  const char* const digits = text.data() + position + 2;
  const auto [end, error] = std::from_chars(digits, digits + 4, unit, 16);
  return error == std::errc() && end == digits + 4 && unit >= least && unit <= most;
}

/// `text` with each half of a surrogate pair that stands alone replaced by U+FFFD. Programs that cut
/// their texts in UTF-16 units print them.
std::string withoutLoneSurrogates(std::string_view text) {
  std::string repaired;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t length = text[i] == '\\' ? 2 : 1;
    const bool isHigh = isEscape(text, i, 0xD800, 0xDBFF);
    if (isHigh && isEscape(text, i + 6, 0xDC00, 0xDFFF)) {
      length = 12;
    } else if (isHigh || isEscape(text, i, 0xDC00, 0xDFFF)) {
      repaired += "\\ufffd";
      i += 6;
      continue;
    }
    repaired += text.substr(i, length);
    i += length;
  }
  return repaired;
}

}  // namespace

std::optional<json::value> parseJson(std::string_view text) {
  JsonReading reading;
  const JsonReading::End end = reading.read(text);
  if (end.error || end.offset < text.size()) return std::nullopt;
  return reading.release();
}

std::optional<JsonFault> findJsonFault(std::string_view text) {
  const auto [offset, error] = JsonReading().read(text);
  const std::size_t rest = text.find_first_not_of(" \t\r\n", offset);
  if (!error && rest == std::string_view::npos) return std::nullopt;
  const std::string_view before = text.substr(0, error ? offset : rest);
  const std::size_t lineStart = before.rfind('\n') + 1;
  return JsonFault{.line = 1 + static_cast<std::size_t>(std::ranges::count(before, '\n')),
                   .column = 1 + before.size() - lineStart,
                   .words = error ? error.message() : "something follows the end"};
}

JsonLineParser::JsonLineParser() : reading_(std::make_unique<JsonReading>()) {}
JsonLineParser::~JsonLineParser() = default;

const json::value* JsonLineParser::parse(std::string_view line) {
  if (const json::value* value = parseStrictly(line)) return value;
  const bool canHoldSurrogates = line.contains("\\ud") || line.contains("\\uD");
  return canHoldSurrogates ? parseStrictly(withoutLoneSurrogates(line)) : nullptr;
}

const json::value* JsonLineParser::parseStrictly(std::string_view line) {
  value_.reset();
  reading_->forget();
  memory_.emplace(buffer_.data(), buffer_.size());
  const JsonReading::End end = reading_->read(line, &*memory_);
  if (end.error || end.offset < line.size()) return nullptr;
  return &value_.emplace(reading_->release());
}

const json::object* asObject(const json::value* value) {
  const json::object* object = value ? value->if_object() : nullptr;
  return object && !numberText(*object) ? object : nullptr;
}

std::optional<std::string_view> stringAt(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* text = value ? value->if_string() : nullptr;
  if (!text) return std::nullopt;
  return std::string_view(*text);
}

std::optional<bool> boolAt(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* boolean = value ? value->if_bool() : nullptr;
  if (!boolean) return std::nullopt;
  return *boolean;
}

std::optional<std::int64_t> integerAt(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value ? exactInteger(*value) : std::nullopt;
}

const json::object* objectAt(const json::object& object, std::string_view key) {
  return asObject(object.if_contains(key));
}

const json::array* arrayAt(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value ? value->if_array() : nullptr;
}

std::optional<std::int64_t> exactInteger(const json::value& value) {
  if (const auto* integer = value.if_int64()) return *integer;
  const json::object* object = value.if_object();
  const auto text = object ? numberText(*object) : std::nullopt;
  const double* held = value.if_double();
  const auto number = held ? std::optional(*held) : text.and_then(doubleFromText);
  constexpr double kLimit = 0x1p63;
  if (!number || !(*number >= -kLimit && *number < kLimit) || std::trunc(*number) != *number) return std::nullopt;
  return static_cast<std::int64_t>(*number);
}

std::string compactJson(const json::value& value) { return written(value, Layout::compact); }

std::string prettyJson(const json::value& value) { return written(value, Layout::indented) + '\n'; }

}  // namespace ravant
