#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace ravant {

/// An address that cannot stand in for a service's host; `what()` says why.
class BaseAddressError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Scheme, host and port of a service, such as `https://gateway.example:8443`, without anything behind it. Plain
/// `http` is taken for a loopback address only. Throws `BaseAddressError`.
std::string baseAddress(std::string_view text);

/// Whether an address is one of this machine alone.
bool isLoopback(const std::string& url);

}  // namespace ravant
