#pragma once

#include <optional>
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

/// Scheme, host in small letters, and port, also the scheme's usual one, such as `https://api.example:443`: equal for
/// two addresses of one server. Nothing for what is no address, or names a user.
std::optional<std::string> originOf(const std::string& url);

/// The whole address that `reference`, perhaps a relative one (RFC 3986, 4.2), stands for in a document of `url`.
std::optional<std::string> resolvedAddress(const std::string& url, const std::string& reference);

}  // namespace ravant
