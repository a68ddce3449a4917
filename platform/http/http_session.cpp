#include "platform/http/http_session.hpp"

#include <curl/curl.h>
#include <strings.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <charconv>
#include <ctime>
#include <utility>

namespace ravant {
namespace {

bool isSameName(const std::string& one, std::string_view other) {
  return one.size() == other.size() && ::strncasecmp(one.data(), other.data(), one.size()) == 0;
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

std::optional<std::chrono::seconds> HttpResponse::retryAfter() const {
  const auto value = header("Retry-After");
  if (!value) return std::nullopt;
  std::int64_t seconds = 0;
  const auto [end, error] = std::from_chars(value->data(), value->data() + value->size(), seconds);
  if (error == std::errc() && end == value->data() + value->size()) {
    return std::chrono::seconds(std::max<std::int64_t>(seconds, 0));
  }
  const std::time_t date = curl_getdate(std::string(*value).c_str(), nullptr);
  if (date < 0) return std::nullopt;
  return std::chrono::seconds(std::max<std::int64_t>(date - std::time(nullptr), 0));
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

awaitable<bool> HttpResponse::takeMore() {
  // Through a flood, others of its executor run too.
  co_await asio::post(use_awaitable);
  for (;;) {
    const HttpTransfer::Taken taken = transfer_->takeBody(arrived_);
    if (taken.hasMadeRoom) engine_->resume(transfer_);
    lines_.append(arrived_);
    if (!arrived_.empty()) co_return true;
    if (taken.hasEnded) co_return false;
    co_await transfer_->wait(stallLimit_);
  }
}

awaitable<bool> HttpResponse::fill() {
  if (co_await takeMore()) co_return true;
  const bool isLineOpen = !lines_.unread().empty();
  if (isLineOpen) lines_.append("\n");
  co_return isLineOpen;
}

awaitable<std::string> HttpResponse::text(std::size_t limit) {
  while (lines_.unread().size() < limit && co_await takeMore()) {
  }
  std::string text(lines_.unread().substr(0, limit));
  lines_.clear();
  co_return text;
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
