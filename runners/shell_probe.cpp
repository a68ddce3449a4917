#include "runners/shell_probe.hpp"

#include <fmt/format.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <exception>
#include <filesystem>
#include <memory>

#include "platform/text/uuid.hpp"
#include "runners/probe_process.hpp"

namespace ravant {
namespace {

struct Probe {
  Probe(any_io_executor strand, ShellOptions options)
      : strand(strand), shell(strand, std::move(options)), limit(strand) {}

  any_io_executor strand;
  ShellSession shell;
  asio::steady_timer limit;
  bool hasTimedOut = false;
};

void startLimit(const std::shared_ptr<Probe>& probe, std::chrono::milliseconds limit) {
  probe->limit.expires_after(limit);
  probe->limit.async_wait([probe](boost::system::error_code cancelled) {
    if (cancelled) return;
    probe->hasTimedOut = true;
    asio::co_spawn(probe->strand, [probe] { return probe->shell.shutdown(); }, [](std::exception_ptr) {});
  });
}

awaitable<std::string> run(ShellProbeOptions options, any_io_executor strand, std::string command) {
  const auto probe = std::make_shared<Probe>(strand, options.shell);
  const std::string marker = fmt::format("__RAVANT_END_{}__", Uuid::random().upperText());
  std::string output;
  std::exception_ptr error;
  try {
    co_await probe->shell.startShell(std::filesystem::current_path());
    startLimit(probe, options.limit);
    co_await probe->shell.writeStdin(fmt::format("{} < /dev/null; echo {}\n", command, marker));
    while (const auto line = co_await probe->shell.readLine()) {
      const bool isLast = line->ends_with(marker);
      output += isLast ? line->substr(0, line->size() - marker.size()) : *line + '\n';
      if (isLast) break;
      if (output.size() > options.outputLimit) {
        throw ProbeError(ProbeError::Case::tooMuchOutput,
                         fmt::format("more than {} bytes of output", options.outputLimit));
      }
    }
  } catch (...) {
    error = std::current_exception();
  }
  probe->limit.cancel();
  co_await probe->shell.shutdown();
  if (probe->hasTimedOut) {
    throw ProbeError(ProbeError::Case::noAnswer,
                     fmt::format("no answer within {} s", std::chrono::duration<double>(options.limit).count()));
  }
  if (error) std::rethrow_exception(error);
  co_return output;
}

}  // namespace

awaitable<std::string> probeInShell(ShellProbeOptions options, std::string command) {
  const any_io_executor strand = asio::make_strand(options.io);
  co_return co_await asio::co_spawn(strand, run(std::move(options), strand, std::move(command)),
                                    asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

}  // namespace ravant
