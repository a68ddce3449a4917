#include "integrations/github/github_account_detection.hpp"

#include <fmt/format.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/strand.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "integrations/github/github_client_error.hpp"
#include "integrations/github/github_wire.hpp"
#include "platform/log/log.hpp"
#include "platform/process/captured_process.hpp"
#include "platform/text/text.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

using Case = GithubDetectionError::Case;

constexpr Log kLog("com.ravant.integrations", "GithubAccountDetection");
constexpr std::size_t kOutputLimit = 1024 * 1024;  // bytes
constexpr std::int32_t kNotFound = 127;            // as env(1) and shells have it
constexpr std::string_view kOtherWay = "add the account with `ravant github add HOST USERNAME --token-stdin`.";
/// No questions, no news, no colours, and nothing of what it sends.
constexpr std::string_view kPlainGH =
    "/usr/bin/env GH_PROMPT_DISABLED=1 GH_NO_UPDATE_NOTIFIER=1 GH_DEBUG= GH_FORCE_TTY= CLICOLOR_FORCE= NO_COLOR=1 gh";

struct GHResult {
  std::int32_t status;
  std::string output;  ///< holds tokens
  std::string errors;
};

GithubDetectionError failure(Case kind, std::string_view words) {
  return {kind, fmt::format("{} Or {}", words, kOtherWay)};
}

GithubDetectionError unreadable() {
  return failure(Case::unreadable, "What gh printed about its accounts cannot be read.");
}

/// What stands behind the last marker; nothing without one.
std::optional<std::string> behindMarker(std::string_view text, std::string_view marker) {
  const std::size_t at = text.rfind(marker);
  return at == std::string_view::npos ? std::nullopt : std::optional<std::string>(text.substr(at + marker.size()));
}

/// In the user's login shell, so that it is found as it is in a terminal. What the start-up files print stands before a
/// marker; the shell's place is taken by `gh`, so that nothing comes behind it.
awaitable<GHResult> runGH(GithubDetectionOptions options, any_io_executor strand, std::string arguments) {
  const std::string marker = fmt::format("__RAVANT_BEGIN_{}__", Uuid::random().upperText());
  const std::string line = fmt::format("echo {}; echo {} >&2; exec {} {}", marker, marker, kPlainGH, arguments);
  CapturedProcess process(CaptureOptions{.launch = {.executable = options.shellPath,
                                                    .arguments = {"-l", "-i", "-c", line},
                                                    .withheldVariables = options.withheldVariables,
                                                    .standardInput = StandardInput::nullDevice,
                                                    .ledger = options.processes},
                                         .limit = options.limit,
                                         .outputLimit = kOutputLimit,
                                         .excess = CaptureOptions::Excess::ended},
                          strand);
  co_await process.run();
  const std::int32_t status = process.exitStatus().shellCode();
  kLog.info("gh: exit {}", status);
  const std::string errors = process.drainError();
  auto output = behindMarker(process.outputInTime(), marker);
  if (process.hasTimedOut()) {
    const double seconds = std::chrono::duration<double>(options.limit).count();
    throw failure(Case::timedOut, output ? fmt::format("gh did not answer within {} s.", seconds)
                                         : fmt::format("The login shell {} did not finish starting within {} s.",
                                                       options.shellPath, seconds));
  }
  if (process.hasTooMuchOutput()) throw unreadable();
  if (!output) {
    throw failure(Case::failed, fmt::format("The login shell {} ended before it ran gh ({}).", options.shellPath,
                                            githubExcerpt(errors)));
  }
  co_return GHResult{
      .status = status, .output = *std::move(output), .errors = behindMarker(errors, marker).value_or(errors)};
}

GithubDetectionError whyUnreadable(const GHResult& result) {
  const std::string& errors = result.errors;
  if (result.status == kNotFound) {
    return failure(Case::notInstalled, "gh is not on the search path of the login shell. Install it (cli.github.com).");
  }
  if (errors.contains("unknown flag") || errors.contains("unknown shorthand flag")) {
    return failure(Case::tooOld, "This gh cannot list its accounts: it is older than 2.81. Update it.");
  }
  if (errors.contains("not logged in")) {
    return failure(Case::notLoggedIn, "gh is not logged in to any host. Run `gh auth login`.");
  }
  // What it says can hold a token.
  if (result.status != 0) {
    return failure(Case::failed,
                   fmt::format("gh failed with exit {}. Run `gh auth status` to see why.", result.status));
  }
  return unreadable();
}

awaitable<std::vector<GithubAccount>> detect(GithubDetectionOptions options, any_io_executor strand) {
  std::optional<GHResult> result;
  try {
    result = co_await runGH(options, strand, "auth status --json hosts -t");
  } catch (const std::system_error& error) {
    throw failure(Case::failed, fmt::format("The login shell cannot be started: {}.", githubExcerpt(error.what())));
  }
  auto accounts = github::parseAccounts(trimmed(result->output));
  if (!accounts) throw whyUnreadable(*result);
  if (accounts->empty()) throw failure(Case::notLoggedIn, "gh is not logged in to any host. Run `gh auth login`.");
  co_return *std::move(accounts);
}

}  // namespace

awaitable<std::vector<GithubAccount>> detectAccounts(GithubDetectionOptions options) {
  const any_io_executor strand = asio::make_strand(options.io);
  co_return co_await asio::co_spawn(strand, detect(std::move(options), strand),
                                    asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

}  // namespace ravant
