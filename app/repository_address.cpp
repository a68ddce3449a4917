#include "app/repository_address.hpp"

#include <strings.h>

#include <string>

namespace ravant {
namespace {

bool isSame(std::string_view one, std::string_view other) {
  return one.size() == other.size() && ::strncasecmp(one.data(), other.data(), one.size()) == 0;
}

/// What stands before `mark`, which is cut off with it; nothing where there is none.
std::string_view cutTo(std::string_view& text, std::string_view mark) {
  const std::size_t end = text.find(mark);
  if (end == std::string_view::npos) return {};
  const std::string_view before = text.substr(0, end);
  text.remove_prefix(end + mark.size());
  return before;
}

struct Address {
  bool isWeb;  ///< its port is that of the host itself
  std::string_view host;
  std::string_view path;
};

Address parsed(std::string_view url) {
  const std::string_view scheme = cutTo(url, "://");
  const bool isScp = scheme.empty();
  std::string_view host = cutTo(url, isScp ? ":" : "/");
  if (const std::size_t user = host.rfind('@'); user != std::string_view::npos) host.remove_prefix(user + 1);
  return {.isWeb = isSame(scheme, "https") || isSame(scheme, "http"), .host = host, .path = url};
}

std::string_view withoutPort(std::string_view host) {
  const std::size_t colon = host.rfind(':');
  return colon == std::string_view::npos || host.ends_with(']') ? host : host.substr(0, colon);
}

bool isHost(const Address& address, std::string_view host) {
  if (address.isWeb) {
    const std::string_view given = address.host.ends_with(":443") ? withoutPort(address.host) : address.host;
    return isSame(given, host);
  }
  const std::string_view name = withoutPort(address.host);
  const std::string_view wanted = withoutPort(host);
  // GitHub takes ssh at the port of https too, under a name of its own (docs.github.com, "Using SSH over the HTTPS
  // port").
  return isSame(name, wanted) || isSame(name, "ssh." + std::string(wanted));
}

}  // namespace

bool isAddressOf(std::string_view url, std::string_view host, std::string_view repositoryName) {
  Address address = parsed(url);
  while (address.path.starts_with('/')) address.path.remove_prefix(1);
  while (address.path.ends_with('/')) address.path.remove_suffix(1);
  if (address.path.size() > 4 && isSame(address.path.substr(address.path.size() - 4), ".git")) {
    address.path.remove_suffix(4);
  }
  return isHost(address, host) && isSame(address.path, repositoryName);
}

}  // namespace ravant
