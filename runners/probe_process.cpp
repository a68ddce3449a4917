#include "runners/probe_process.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/this_coro.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/log/log.hpp"
#include "platform/process/captured_process.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "ProbeProcess");

std::unique_ptr<CapturedProcess> launch(CaptureOptions options, const std::string& label,
                                        const any_io_executor& strand) {
  kLog.debug("{} probe: launching {} {}", label, options.launch.executable, fmt::join(options.launch.arguments, " "));
  try {
    return std::make_unique<CapturedProcess>(std::move(options), strand);
  } catch (const std::system_error& error) {
    const std::string text = fmt::format("{} launch: {}", label, error.what());
    kLog.error("{}", text);
    throw ProbeError(ProbeError::Case::launch, text);
  }
}

awaitable<std::string> probe(LaunchOptions launchOptions, std::string label, ProbeOptions options) {
  const any_io_executor strand = co_await asio::this_coro::executor;
  const auto process = launch({.launch = std::move(launchOptions),
                               .limit = options.limit,
                               .outputLimit = options.outputLimit,
                               .excess = CaptureOptions::Excess::ended},
                              label, strand);
  co_await process->run();

  if (process->hasTooMuchOutput()) {
    const auto text = fmt::format("{} probe: more than {} bytes of output", label, options.outputLimit);
    kLog.error("{}", text);
    throw ProbeError(ProbeError::Case::tooMuchOutput, text);
  }
  const ExitStatus status = process->exitStatus();
  if (status == ExitStatus{} && !process->hasTimedOut()) co_return repairUtf8(process->takeOutput());

  const std::string standardError = process->drainError();
  const std::string_view reason = status.reason == ExitStatus::Reason::exit ? "exit" : "signal";
  kLog.error("{} probe: exit {} reason={} stderr={}", label, status.code, reason, standardError);
  const double seconds = std::chrono::duration<double>(options.limit).count();
  throw ProbeError(ProbeError::Case::exitStatus,
                   fmt::format("{} probe: exit {}{}{}{}", label, status.code,
                               process->hasTimedOut() ? fmt::format(", ended after {} s", seconds) : "",
                               trimmed(standardError).empty() ? "" : ": ", trimmed(standardError)));
}

}  // namespace

awaitable<std::string> ProbeProcess::run(std::string binaryPath, std::vector<std::string> arguments, std::string label,
                                         ProbeOptions options) {
  LaunchOptions launchOptions;
  launchOptions.executable = std::move(binaryPath);
  launchOptions.arguments = std::move(arguments);
  launchOptions.environment = options.environment;
  launchOptions.standardInput = StandardInput::nullDevice;
  launchOptions.ledger = options.ledger;
  // The empty slot keeps a cancellation on the caller's executor.
  co_return co_await asio::co_spawn(asio::make_strand(co_await asio::this_coro::executor),
                                    probe(std::move(launchOptions), std::move(label), std::move(options)),
                                    asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

}  // namespace ravant
