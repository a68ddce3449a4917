#include "platform/json/json_reading.hpp"

#include <boost/json/basic_parser_impl.hpp>
#include <charconv>
#include <utility>

namespace ravant {
namespace {

constexpr std::size_t kMaxDepth = 512;
/// No text in UTF-8 has this byte, so no object that is read has this key.
constexpr std::string_view kNumberKey = "\xff";

json::parse_options options() {
  json::parse_options options;
  options.max_depth = kMaxDepth;
  return options;
}

}  // namespace

std::optional<std::string_view> numberText(const json::object& object) {
  const bool isNumber = object.size() == 1 && std::string_view(object.begin()->key()) == kNumberKey;
  return isNumber ? std::optional<std::string_view>(object.begin()->value().get_string()) : std::nullopt;
}

std::optional<double> doubleFromText(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() ? std::optional(number) : std::nullopt;
}

bool JsonValueMaker::on_int64(std::int64_t number, json::string_view text, Error&) {
  const bool isMinusZero = number == 0 && text.front() == '-';
  isMinusZero ? pushText(text) : values_.push_int64(number);
  return true;
}

bool JsonValueMaker::on_double(double, json::string_view text, Error&) {
  pushText(text);
  return true;
}

void JsonValueMaker::pushText(json::string_view number) {
  values_.push_key(kNumberKey);
  values_.push_string(number);
  values_.push_object(1);
}

JsonReading::JsonReading() : parser_(options()) {}

JsonReading::End JsonReading::read(std::string_view text, json::storage_ptr memory) {
  parser_.reset();
  parser_.handler().values().reset(std::move(memory));
  End end{.offset = 0, .error = {}};
  end.offset = parser_.write_some(false, text.data(), text.size(), end.error);
  return end;
}

void JsonReading::forget() { parser_.handler().values().reset(); }

}  // namespace ravant
