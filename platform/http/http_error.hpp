#pragma once

#include <exception>
#include <string>
#include <utility>

namespace ravant {

/// A transfer that failed; `what()` has the words of the transport. A response of any status is none. `untrusted`: no
/// encrypted connection that can be trusted was agreed on, which no further try changes.
class HttpError : public std::exception {
 public:
  enum class Case { noResponse, untrusted, transfer, stalled, cancelled };

  /// With words of its own, for copies cross threads.
  HttpError(Case kind, std::string words) : kind_(kind), words_(std::move(words)) {}
  Case kind() const noexcept { return kind_; }
  const char* what() const noexcept override { return words_.c_str(); }

 private:
  Case kind_;
  std::string words_;
};

}  // namespace ravant
