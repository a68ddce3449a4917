#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace ravant {

/// Why Linear could not be asked; `what()` has the words for the user, on one line.
class LinearClientError : public std::runtime_error {
 public:
  /// `graphQL`: the answer has errors and no data.
  enum class Case { http, decoding, transport, invalidURL, missingKey, graphQL };

  static LinearClientError http(int status);
  /// `text`: what could not be read, or why; shown are its first 200 characters.
  static LinearClientError decoding(std::string_view text);
  static LinearClientError transport(std::string_view description);
  static LinearClientError invalidURL();
  static LinearClientError missingKey();
  static LinearClientError graphQL(std::string_view messages);

  Case kind() const { return kind_; }
  int status() const { return status_; }  ///< of `http`

 private:
  LinearClientError(Case kind, const std::string& words, int status = 0)
      : std::runtime_error(words), kind_(kind), status_(status) {}

  Case kind_;
  int status_;
};

}  // namespace ravant
