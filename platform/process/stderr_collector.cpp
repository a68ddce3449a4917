#include "platform/process/stderr_collector.hpp"

#include <algorithm>
#include <utility>

#include "platform/text/utf8.hpp"

namespace ravant {

void StderrCollector::append(std::string_view chunk) {
  const std::lock_guard lock(mutex_);
  const std::size_t toHead = std::min(chunk.size(), kHeadCap - head_.size());
  head_.append(chunk.substr(0, toHead));
  chunk.remove_prefix(toHead);

  if (chunk.size() > kTailCap) chunk.remove_prefix(chunk.size() - kTailCap);
  const std::size_t size = tail_.size() + chunk.size();
  if (size > kTailCap) tail_.erase(0, size - kTailCap);
  tail_.append(chunk);
}

std::string StderrCollector::drain() {
  const std::lock_guard lock(mutex_);
  return repairUtf8(std::exchange(head_, {}) + std::exchange(tail_, {}));
}

}  // namespace ravant
