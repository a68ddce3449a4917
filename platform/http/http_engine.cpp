#include "platform/http/http_engine.hpp"

#include <array>
#include <functional>
#include <mutex>
#include <new>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/http/base_address.hpp"
#include "platform/http/http_transfer.hpp"
#include "platform/http/libcurl.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.platform", "HttpEngine");
constexpr long kReceiveBuffer = 256 * 1024;
constexpr int kLongestPoll = 60'000;  // milliseconds

/// Without what can hold a secret: user, query and fragment.
std::string addressForLog(std::string_view url) {
  url = url.substr(0, url.find_first_of("?#"));
  const std::size_t scheme = url.find("://");
  const std::size_t host = scheme == std::string_view::npos ? 0 : scheme + 3;
  const std::size_t user = url.substr(host, url.find('/', host) - host).rfind('@');
  return std::string(user == std::string_view::npos ? url : url.substr(host + user + 1));
}

/// The words of the library without users and passwords of addresses, such as a proxy's.
std::string withoutUsers(std::string words) {
  for (std::size_t at = words.find('@'); at != std::string::npos; at = words.find('@', at + 1)) {
    const std::size_t before = words.find_last_of(" '\"/", at);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    words.erase(begin, at - begin);
    at = begin;
  }
  return words;
}

struct FreeEasy {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct FreeMulti {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct FreeList {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

HttpError::Case caseOf(CURLcode code) {
  switch (code) {
    case CURLE_GOT_NOTHING:
    case CURLE_UNSUPPORTED_PROTOCOL:  // an answer of a time before status lines is no response either
      return HttpError::Case::noResponse;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
      return HttpError::Case::untrusted;
    default:
      return HttpError::Case::transfer;
  }
}

/// curl's side of a transfer, on the engine's thread.
class Exchange {
 public:
  Exchange(std::shared_ptr<HttpTransfer> transfer, const HttpEngineOptions& options)
      : transfer_(std::move(transfer)), easy_(curl_easy_init()) {
    if (!easy_) throw std::bad_alloc();
    const HttpRequest& request = transfer_->request();
    set(CURLOPT_URL, request.url.c_str());
    set(CURLOPT_CUSTOMREQUEST, request.method.c_str());
    if (!request.body.empty() || request.method == "POST") {
      set(CURLOPT_POSTFIELDS, request.body.data());
      set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    }
    addHeader("Expect:");  // bodies are sent without asking first
    // Nothing is sent that the request does not name, but what HTTP itself needs, and curl's Content-Type of a POST
    // that names none.
    addHeader("Accept:");
    addHeader("User-Agent: ravant");
    for (const auto& [name, value] : request.headers) addHeader(name + ": " + value);
    set(CURLOPT_HTTPHEADER, headers_.get());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(transfer_->connectLimit().count()));
    if (isLoopback(request.url)) set(CURLOPT_PROXY, "");  // what need not be encrypted may not leave the machine
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // a name that is still looked up delays no end
    set(CURLOPT_BUFFERSIZE, kReceiveBuffer);
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!options.certificates.empty()) set(CURLOPT_CAINFO, options.certificates.c_str());
    set(CURLOPT_ERRORBUFFER, words_.data());
    set(CURLOPT_HEADERFUNCTION, &Exchange::onHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &Exchange::onBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &Exchange::onProgress);
    set(CURLOPT_XFERINFODATA, this);
  }

  CURL* easy() const { return easy_.get(); }

  void resume() { curl_easy_pause(easy(), CURLPAUSE_CONT); }

  void end(CURLcode code) {
    const std::string words = withoutUsers(words_.front() != '\0' ? words_.data() : curl_easy_strerror(code));
    kLog.debug("{} {}: {}", transfer_->request().method, addressForLog(transfer_->request().url),
               code == CURLE_OK ? "ended" : words);
    transfer_->onEnd(code == CURLE_OK ? std::nullopt : std::optional(HttpError(caseOf(code), words)));
  }

 private:
  template <class Value>
  void set(CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(easy(), option, value);
    if (code != CURLE_OK) throw HttpError(HttpError::Case::transfer, curl_easy_strerror(code));
  }

  void addHeader(const std::string& line) {
    curl_slist* const longer = curl_slist_append(headers_.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(headers_.release());
    headers_.reset(longer);
  }

  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* self) {
    static_cast<Exchange*>(self)->takeHeader(trimmed({bytes, size * count}));
    return size * count;
  }

  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* self) {
    const auto& transfer = static_cast<Exchange*>(self)->transfer_;
    return transfer->onBody({bytes, size * count}) ? size * count : CURL_WRITEFUNC_PAUSE;
  }

  static int onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
    auto& exchange = *static_cast<Exchange*>(self);
    if (std::exchange(exchange.sent_, sent) != sent) exchange.transfer_->onProgress();
    return 0;
  }

  void takeHeader(std::string_view line) {
    if (isHeadOver_) return;  // trailers
    if (line.starts_with("HTTP/")) {
      head_ = {};
    } else if (!line.empty()) {
      const std::size_t colon = std::min(line.find(':'), line.size() - 1);
      head_.headers.push_back(
          {.name = std::string(trimmed(line.substr(0, colon))), .value = std::string(trimmed(line.substr(colon + 1)))});
    } else {
      long status = 0;
      curl_easy_getinfo(easy(), CURLINFO_RESPONSE_CODE, &status);
      constexpr long kFirstFinal = 200;
      if (status < kFirstFinal) return;
      isHeadOver_ = true;
      head_.status = static_cast<int>(status);
      kLog.debug("{} {}: status {}", transfer_->request().method, addressForLog(transfer_->request().url), status);
      transfer_->onHead(std::move(head_));
    }
  }

  const std::shared_ptr<HttpTransfer> transfer_;
  std::unique_ptr<CURL, FreeEasy> easy_;
  std::unique_ptr<curl_slist, FreeList> headers_;
  std::array<char, CURL_ERROR_SIZE> words_{};
  curl_off_t sent_ = 0;
  HttpHead head_;
  bool isHeadOver_ = false;
};

}  // namespace

/// The thread. All but `post` and the destructor runs on it.
class HttpEngine::Loop {
 public:
  explicit Loop(HttpEngineOptions options) : options_(std::move(options)) {}

  ~Loop() {
    if (!thread_.joinable()) return;
    post([this] { isEnding_ = true; });
    thread_.join();
  }

  void post(std::function<void()> job) {
    {
      const std::lock_guard lock(mutex_);
      if (!thread_.joinable()) begin();
      jobs_.push_back(std::move(job));
    }
    curl_multi_wakeup(multi_.get());
  }

  void start(const std::shared_ptr<HttpTransfer>& transfer) {
    try {
      auto exchange = std::make_unique<Exchange>(transfer, options_);
      curl_easy_setopt(exchange->easy(), CURLOPT_PRIVATE, transfer.get());
      const CURLMcode code = curl_multi_add_handle(multi_.get(), exchange->easy());
      if (code != CURLM_OK) throw HttpError(HttpError::Case::transfer, curl_multi_strerror(code));
      exchanges_.emplace(transfer.get(), std::move(exchange));
    } catch (const HttpError& error) {
      transfer->onEnd(error);
    }
  }

  void resume(const std::shared_ptr<HttpTransfer>& transfer) {
    if (const auto found = exchanges_.find(transfer.get()); found != exchanges_.end()) found->second->resume();
  }

  void stop(const std::shared_ptr<HttpTransfer>& transfer) {
    transfer->onEnd(HttpError(HttpError::Case::cancelled, "cancelled"));
    remove(transfer.get());
  }

 private:
  void begin() {
    static const CURLcode isReady = curl_global_init(CURL_GLOBAL_DEFAULT);
    multi_.reset(isReady == CURLE_OK ? curl_multi_init() : nullptr);
    if (!multi_) throw std::bad_alloc();
    thread_ = std::thread([this] { run(); });
  }

  void run() {
    while (!isEnding_) {
      for (const auto& job : takeJobs()) job();
      int running = 0;
      curl_multi_perform(multi_.get(), &running);
      endWhatIsDone();
      if (!isEnding_) curl_multi_poll(multi_.get(), nullptr, 0, kLongestPoll, nullptr);
    }
    for (const auto& [transfer, exchange] : exchanges_) {
      transfer->onEnd(HttpError(HttpError::Case::cancelled, "cancelled"));
      curl_multi_remove_handle(multi_.get(), exchange->easy());
    }
    exchanges_.clear();
  }

  std::vector<std::function<void()>> takeJobs() {
    const std::lock_guard lock(mutex_);
    return std::exchange(jobs_, {});
  }

  void endWhatIsDone() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      const CURLcode code = message->data.result;
      HttpTransfer* transfer = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
      exchanges_.at(transfer)->end(code);
      remove(transfer);
    }
  }

  void remove(HttpTransfer* transfer) {
    const auto found = exchanges_.find(transfer);
    if (found == exchanges_.end()) return;
    curl_multi_remove_handle(multi_.get(), found->second->easy());
    exchanges_.erase(found);
  }

  const HttpEngineOptions options_;
  std::unique_ptr<CURLM, FreeMulti> multi_;
  std::unordered_map<HttpTransfer*, std::unique_ptr<Exchange>> exchanges_;
  bool isEnding_ = false;
  std::mutex mutex_;
  std::vector<std::function<void()>> jobs_;
  std::thread thread_;
};

HttpEngine::HttpEngine(HttpEngineOptions options) : loop_(std::make_unique<Loop>(std::move(options))) {}
HttpEngine::~HttpEngine() = default;

void HttpEngine::start(std::shared_ptr<HttpTransfer> transfer) {
  loop_->post([loop = loop_.get(), transfer = std::move(transfer)] { loop->start(transfer); });
}

void HttpEngine::resume(std::shared_ptr<HttpTransfer> transfer) {
  loop_->post([loop = loop_.get(), transfer = std::move(transfer)] { loop->resume(transfer); });
}

void HttpEngine::stop(std::shared_ptr<HttpTransfer> transfer) {
  loop_->post([loop = loop_.get(), transfer = std::move(transfer)] { loop->stop(transfer); });
}

}  // namespace ravant
