#include "runners/rpc_probe.hpp"

#include <fmt/format.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <exception>
#include <filesystem>

#include "runners/probe_process.hpp"

namespace ravant {
namespace {

struct Probe {
  Probe(any_io_executor strand, ShellOptions shell)
      : connection(std::make_shared<RpcConnection>(strand, std::move(shell))), limit(strand), strand(strand) {}

  std::shared_ptr<RpcConnection> connection;
  asio::steady_timer limit;
  any_io_executor strand;
  bool hasTimedOut = false;
};

awaitable<void> run(RpcProbeOptions options, any_io_executor strand, std::string commandLine,
                    std::function<awaitable<void>(std::shared_ptr<RpcConnection>)> ask) {
  const auto probe = std::make_shared<Probe>(strand, options.shell);
  std::exception_ptr error;
  try {
    co_await probe->connection->start(
        std::filesystem::current_path(), std::move(commandLine), std::make_shared<RpcListener>(), [&] {
          probe->limit.expires_after(options.limit);
          probe->limit.async_wait([probe](boost::system::error_code cancelled) {
            if (cancelled) return;
            probe->hasTimedOut = true;
            asio::co_spawn(probe->strand, [probe] { return probe->connection->close(); }, [](std::exception_ptr) {});
          });
          return ask(probe->connection);
        });
  } catch (...) {
    error = std::current_exception();
  }
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
                             std::function<awaitable<void>(std::shared_ptr<RpcConnection>)> ask) {
  const any_io_executor strand = asio::make_strand(options.io);
  co_await asio::co_spawn(strand, run(std::move(options), strand, std::move(commandLine), std::move(ask)),
                          asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

}  // namespace ravant
