#include "platform/http/http_session.hpp"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <charconv>
#include <ctime>
#include <utility>

#include "platform/http/libcurl.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.platform", "HttpSession");
constexpr std::size_t kLongestLine = 256 * 1024 * 1024;
/// A provider that names a longer wait is not waited for anyway.
constexpr std::int64_t kLongestRetryAfter = 365 * 24 * 3600;

bool isSameName(std::string_view one, std::string_view other) { return lowerCase(one) == lowerCase(other); }

std::optional<Timestamp> timeIn(std::string_view httpDate) {
  constexpr std::time_t kLast = 253'402'300'799;  // of the year 9999
  const std::time_t time = curl_getdate(std::string(httpDate).c_str(), nullptr);
  return time < 0 ? std::nullopt : std::optional(Timestamp(std::chrono::seconds(std::min(time, kLast))));
}

HttpError cancelled() { return {HttpError::Case::cancelled, "cancelled"}; }

}  // namespace

HttpResponse::~HttpResponse() {
  if (!transfer_) return;
  transfer_->detach();
  engine_->stop(std::move(transfer_));
}

std::optional<std::string_view> HttpResponse::header(std::string_view name) const {
  const auto found =
      std::ranges::find_if(head_.headers, [&](const HttpHeader& header) { return isSameName(header.name, name); });
  return found == head_.headers.end() ? std::nullopt : std::optional<std::string_view>(found->value);
}

std::optional<Timestamp> HttpResponse::date() const {
  const auto value = header("Date");
  return value ? timeIn(*value) : std::nullopt;
}

std::optional<std::chrono::seconds> HttpResponse::retryAfter() const {
  const auto value = header("Retry-After");
  if (!value) return std::nullopt;
  std::int64_t seconds = 0;
  const auto [end, error] = std::from_chars(value->data(), value->data() + value->size(), seconds);
  if (error == std::errc::result_out_of_range) return std::chrono::seconds(kLongestRetryAfter);
  if (error == std::errc() && end == value->data() + value->size()) {
    return std::chrono::seconds(std::clamp<std::int64_t>(seconds, 0, kLongestRetryAfter));
  }
  const auto until = timeIn(*value);
  if (!until) return std::nullopt;
  const Timestamp now = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
  const auto wait = std::chrono::floor<std::chrono::seconds>(*until - date().value_or(now));
  return std::clamp(wait, std::chrono::seconds(0), std::chrono::seconds(kLongestRetryAfter));
}

awaitable<void> HttpResponse::awaitHead() {
  for (;;) {
    if (auto head = transfer_->takeHead()) {
      head_ = *std::move(head);
      co_return;
    }
    co_await transfer_->wait(stallLimit_);
  }
}

awaitable<bool> HttpResponse::takeMore(std::chrono::milliseconds limit) {
  // Through a flood, others of its executor run too.
  co_await asio::post(use_awaitable);
  for (;;) {
    const HttpTransfer::Taken taken = transfer_->takeBody(arrived_);
    if (taken.hasMadeRoom) engine_->resume(transfer_);
    lines_.append(arrived_);
    if (!arrived_.empty()) co_return true;
    if (taken.hasEnded) co_return false;
    co_await transfer_->wait(limit);
  }
}

awaitable<bool> HttpResponse::fill() {
  if (lines_.unread().size() > kLongestLine) {
    throw HttpError(HttpError::Case::transfer, "a line of the response is too long");
  }
  if (co_await takeMore(stallLimit_)) co_return true;
  const bool isLineOpen = !lines_.unread().empty();
  if (isLineOpen) lines_.append("\n");
  co_return isLineOpen;
}

awaitable<void> HttpResponse::finish(std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  try {
    while (std::chrono::steady_clock::now() < deadline && co_await takeMore(patience)) lines_.clear();
  } catch (const HttpError& error) {
    kLog.debug("the rest of a response did not come: {}", error.what());
  }
}

awaitable<HttpText> HttpResponse::text(std::size_t limit, std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  HttpText read;
  try {
    while (!read.isWhole && lines_.unread().size() <= limit) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) break;
      read.isWhole = !co_await takeMore(left);
    }
  } catch (const HttpError& error) {
    if (error.kind() != HttpError::Case::stalled) throw;
  }
  read.isWhole = read.isWhole && lines_.unread().size() <= limit;
  read.text = lines_.unread().substr(0, limit);
  lines_.clear();
  co_return read;
}

HttpSession::HttpSession(std::shared_ptr<HttpEngine> engine, HttpSessionOptions options)
    : engine_(std::move(engine)), options_(options) {}

awaitable<HttpResponse> HttpSession::send(HttpRequest request) {
  if (isInvalid_) throw cancelled();
  const auto transfer =
      std::make_shared<HttpTransfer>(std::move(request), options_.connectLimit, co_await asio::this_coro::executor);
  std::erase_if(transfers_, [](const auto& earlier) { return earlier.expired(); });
  transfers_.push_back(transfer);
  engine_->start(transfer);
  // It ends the transfer, whatever happens.
  HttpResponse response(engine_, transfer, options_.stallLimit);
  co_await response.awaitHead();
  co_return std::move(response);
}

void HttpSession::invalidate() {
  isInvalid_ = true;
  for (const auto& weak : transfers_) {
    if (const auto transfer = weak.lock()) {
      transfer->onEnd(cancelled());
      engine_->stop(transfer);
    }
  }
}

}  // namespace ravant
