#pragma once

#include <array>
#include <boost/json/array.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ravant {

namespace json = boost::json;

class JsonReading;

/// One value nested at most 512 deep, in valid UTF-8, with nothing but white space around it.
///
/// A number that is no integer of 64 bits (1.0, -0, 1e400, one of more digits) keeps its own text, and is written as it
/// stood. To `boost::json` it is an object, of one member whose key is no UTF-8; to the functions below it is the
/// number.
std::optional<json::value> parseJson(std::string_view text);

/// Why and where `parseJson` refuses a text. Lines and columns count from 1, columns in bytes.
struct JsonFault {
  std::size_t line;
  std::size_t column;
  std::string words;
};

/// Nothing for a text that `parseJson` takes.
std::optional<JsonFault> findJsonFault(std::string_view text);

/// Parses line after line into the same memory.
class JsonLineParser {
 public:
  JsonLineParser();
  ~JsonLineParser();
  JsonLineParser(const JsonLineParser&) = delete;
  JsonLineParser& operator=(const JsonLineParser&) = delete;

  /// As `parseJson`, but an escaped half of a surrogate pair that stands alone reads as U+FFFD; null for what is not
  /// JSON. Valid until the next call.
  const json::value* parse(std::string_view line);

 private:
  const json::value* parseStrictly(std::string_view line);

  std::array<unsigned char, 64 * 1024> buffer_;
  /// Made anew for each line: one that is released goes on asking for larger blocks than before.
  std::optional<json::monotonic_resource> memory_;
  std::unique_ptr<JsonReading> reading_;
  /// Made in place: assigning would copy the value out of `memory_`.
  std::optional<json::value> value_;
};

/// The object that `value` is; null when it is none or there is no value.
const json::object* asObject(const json::value* value);

/// The member `key`, when it is there and of that type.
std::optional<std::string_view> stringAt(const json::object& object, std::string_view key);
std::optional<bool> boolAt(const json::object& object, std::string_view key);
std::optional<std::int64_t> integerAt(const json::object& object, std::string_view key);
const json::object* objectAt(const json::object& object, std::string_view key);
const json::array* arrayAt(const json::object& object, std::string_view key);

/// The number when it is a whole one, however it is written (5, 5.0, 1e3), and fits.
std::optional<std::int64_t> exactInteger(const json::value& value);

/// Text must be valid UTF-8. Throws `std::domain_error` for a number that is not finite, of which JSON has none.
std::string compactJson(const json::value& value);
/// The same, indented by two spaces, members in their order, a line break at the end.
std::string prettyJson(const json::value& value);

}  // namespace ravant
