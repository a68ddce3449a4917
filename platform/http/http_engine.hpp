#pragma once

#include <chrono>
#include <filesystem>
#include <memory>

namespace ravant {

class HttpTransfer;

struct HttpEngineOptions {
  std::filesystem::path certificates = {};  ///< a PEM file of authorities to trust; empty: those of the system
};

/// Moves the bytes of all sessions of a process, on one thread of its own and over one pool of connections, which stay
/// open between requests. Proxies are those of the environment (`https_proxy`, `http_proxy`, `all_proxy`, `no_proxy`).
///
/// Usable from any thread. The thread begins with the first transfer and ends with the engine; what is under way then
/// fails as cancelled.
class HttpEngine {
 public:
  explicit HttpEngine(HttpEngineOptions options = {});
  ~HttpEngine();
  HttpEngine(const HttpEngine&) = delete;
  HttpEngine& operator=(const HttpEngine&) = delete;

 private:
  friend class HttpSession;
  friend class HttpResponse;
  class Loop;

  void start(std::shared_ptr<HttpTransfer> transfer);
  /// Its reader has room again.
  void resume(std::shared_ptr<HttpTransfer> transfer);
  /// Nobody wants it any more.
  void stop(std::shared_ptr<HttpTransfer> transfer);

  std::unique_ptr<Loop> loop_;
};

}  // namespace ravant
