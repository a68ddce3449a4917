#pragma once

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "platform/json/json.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {

/// Colours and width for people who look at a terminal; for others text stays as it is.
class Style {
 public:
  enum class Colours { off, on };

  explicit Style(Colours colours, std::optional<std::size_t> columns = {}) : colours_(colours), columns_(columns) {}
  /// Colours where the descriptor is a terminal that can show them and `NO_COLOR` is not set.
  static Style of(int descriptor);

  /// The width of the terminal; nothing where there is none or it does not say.
  std::optional<std::size_t> columns() const { return columns_; }

  std::string dim(std::string_view text) const { return wrapped("2", text); }
  std::string bold(std::string_view text) const { return wrapped("1", text); }
  std::string good(std::string_view text) const { return wrapped("32", text); }
  std::string bad(std::string_view text) const { return wrapped("31", text); }

 private:
  std::string wrapped(std::string_view code, std::string_view text) const;

  Colours colours_;
  std::optional<std::size_t> columns_;
};

enum class OutputFormat { text, json };

/// Nobody reads the output any more.
class OutputClosed : public std::exception {};

/// Standard output. What is written reaches it at `flush`, which throws `OutputClosed`, `Interrupted` where the user
/// interrupted the wait for a slow reader, or `std::system_error` where it could not be written.
class Output {
 public:
  Output(int descriptor, Style style) : descriptor_(descriptor), style_(style) {}

  const Style& style() const { return style_; }
  /// Whether somebody reads along.
  bool isTerminal() const;
  /// Of a terminal whose lines can be rewritten, in columns as of now; nothing for any other output.
  std::optional<std::size_t> terminalWidth() const;
  /// The text is harmless to a terminal already.
  void write(std::string_view text) { pending_ += text; }
  void line(std::string_view text) { pending_.append(text) += '\n'; }
  /// One value on one line, harmless to a terminal.
  void json(const json::value& value);
  /// The same inside a line, for a value that is written as it is read.
  void jsonPart(const json::value& value);
  void flush();

 private:
  int descriptor_;
  Style style_;
  std::string pending_;
};

}  // namespace ravant::cli
