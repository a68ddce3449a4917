#pragma once

#include <array>
#include <boost/json/basic_parser.hpp>
#include <boost/json/value_stack.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/json/json.hpp"

namespace ravant {

/// The text of a number that has its own; nothing for any other object.
std::optional<std::string_view> numberText(const json::object& object);

/// Nothing where it is beyond what a double holds.
std::optional<double> doubleFromText(std::string_view text);

/// Makes values of what Boost's parser finds, which passes each number with its text.
class JsonValueMaker {
 public:
  using Error = boost::system::error_code;
  static constexpr std::size_t max_object_size = json::object::max_size();
  static constexpr std::size_t max_array_size = json::array::max_size();
  static constexpr std::size_t max_key_size = json::string::max_size();
  static constexpr std::size_t max_string_size = json::string::max_size();

  json::value_stack& values() { return values_; }

  bool on_document_begin(Error&) { return true; }
  bool on_document_end(Error&) { return true; }
  bool on_object_begin(Error&) { return true; }
  bool on_object_end(std::size_t size, Error&) { return values_.push_object(size), true; }
  bool on_array_begin(Error&) { return true; }
  bool on_array_end(std::size_t size, Error&) { return values_.push_array(size), true; }
  bool on_key_part(json::string_view part, std::size_t, Error&) { return values_.push_chars(part), true; }
  bool on_key(json::string_view rest, std::size_t, Error&) { return values_.push_key(rest), true; }
  bool on_string_part(json::string_view part, std::size_t, Error&) { return values_.push_chars(part), true; }
  bool on_string(json::string_view rest, std::size_t, Error&) { return values_.push_string(rest), true; }
  bool on_number_part(json::string_view, Error&) { return true; }
  bool on_int64(std::int64_t number, json::string_view text, Error&);
  bool on_uint64(std::uint64_t number, json::string_view, Error&) { return values_.push_uint64(number), true; }
  bool on_double(double, json::string_view text, Error&);
  bool on_bool(bool value, Error&) { return values_.push_bool(value), true; }
  bool on_null(Error&) { return values_.push_null(), true; }
  bool on_comment_part(json::string_view, Error&) { return true; }
  bool on_comment(json::string_view, Error&) { return true; }

 private:
  void pushText(json::string_view number);

  std::array<unsigned char, 4096> room_;
  json::value_stack values_{{}, room_.data(), room_.size()};
};

/// Reads one whole text after another.
class JsonReading {
 public:
  JsonReading();

  struct End {
    std::size_t offset;  ///< behind the value, or where it is at fault
    boost::system::error_code error;
  };
  /// One value at the beginning of the text, made in `memory`.
  End read(std::string_view text, json::storage_ptr memory = {});
  /// What was read without an error.
  json::value release() { return parser_.handler().values().release(); }
  /// Leaves the memory of a value that was not released.
  void forget();

 private:
  json::basic_parser<JsonValueMaker> parser_;
};

}  // namespace ravant
