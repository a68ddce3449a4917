#pragma once

#include <stdexcept>
#include <string>

namespace ravant {

/// A transfer that failed; `what()` has the words of the transport. A response of any status is none.
class HttpError : public std::runtime_error {
 public:
  enum class Case { noResponse, transfer, stalled, cancelled };

  HttpError(Case kind, const std::string& words) : std::runtime_error(words), kind_(kind) {}
  Case kind() const noexcept { return kind_; }

 private:
  Case kind_;
};

}  // namespace ravant
