#include "runners/rpc_probe.hpp"

#include <fmt/format.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <exception>
#include <filesystem>

#include "platform/text/text.hpp"
#include "runners/probe_process.hpp"

namespace ravant {
namespace {

/// A probe is told nothing and asked nothing.
class NoListener final : public RpcListener {
 public:
  std::string lastWords;

 private:
  void onNotification(const RpcNotification&, std::string_view) override {}
  RpcOutcome onRequest(const RpcRequest&) override {
    return RpcError{.code = kRpcMethodNotFound, .message = "Method not found"};
  }
  awaitable<void> onLinesTaken() override { co_return; }
  void onDisconnect(std::string standardError) override { lastWords = std::move(standardError); }
};

struct Probe {
  Probe(any_io_executor strand, ShellOptions shell)
      : connection(std::make_shared<RpcConnection>(strand, std::move(shell))), limit(strand), strand(strand) {}

  std::shared_ptr<RpcConnection> connection;
  asio::steady_timer limit;
  any_io_executor strand;
  bool hasTimedOut = false;
};

awaitable<void> run(RpcProbeOptions options, any_io_executor strand, std::string commandLine,
                    std::function<awaitable<void>(RpcConnection&)> ask) {
  const auto probe = std::make_shared<Probe>(strand, options.shell);
  const auto listener = std::make_shared<NoListener>();
  std::exception_ptr error;
  try {
    co_await probe->connection->start(std::filesystem::current_path(), std::move(commandLine), listener);
    probe->limit.expires_after(options.limit);
    probe->limit.async_wait([probe](boost::system::error_code cancelled) {
      if (cancelled) return;
      probe->hasTimedOut = true;
      asio::co_spawn(probe->strand, [probe] { return probe->connection->close(); }, [](std::exception_ptr) {});
    });
    co_await ask(*probe->connection);
  } catch (...) {
    error = std::current_exception();
  }
  // A program that ended by itself is heard in its own words.
  const std::string lastWords(trimmed(listener->lastWords));
  if (error && !lastWords.empty()) error = std::make_exception_ptr(ProbeError(ProbeError::Case::noAnswer, lastWords));
  probe->limit.cancel();
  co_await probe->connection->close();
  if (probe->hasTimedOut) {
    throw ProbeError(ProbeError::Case::noAnswer,
                     fmt::format("no answer within {} s", std::chrono::duration<double>(options.limit).count()));
  }
  if (error) std::rethrow_exception(error);
}

}  // namespace

awaitable<void> probeOverRpc(RpcProbeOptions options, std::string commandLine,
                             std::function<awaitable<void>(RpcConnection&)> ask) {
  const any_io_executor strand = asio::make_strand(options.io);
  co_await asio::co_spawn(strand, run(std::move(options), strand, std::move(commandLine), std::move(ask)),
                          asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

}  // namespace ravant
