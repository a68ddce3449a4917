#pragma once

#include <algorithm>
#include <cstddef>
#include <future>
#include <span>
#include <thread>
#include <vector>

namespace ravant::git {

/// As many as the machine has processors, within reason.
inline std::size_t mostThreads() { return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 4); }

/// How many are worth it for so much work.
inline std::size_t threadsFor(std::size_t amount, std::size_t amountOfAThread) {
  return std::clamp<std::size_t>(amount / amountOfAThread, 1, mostThreads());
}

/// Calls `work` with each of `count` parts of the values and its number, all at once, the first on this thread. The
/// results stand in the order of the parts. Throws what one of them throws, when all are done.
template <class Value, class Work>
auto inParts(std::span<const Value> values, std::size_t count, const Work& work) {
  const auto run = [&](std::size_t number) {
    const std::size_t begin = values.size() * number / count;
    return work(values.subspan(begin, values.size() * (number + 1) / count - begin), number);
  };
  std::vector<std::future<decltype(run(0))>> others;
  for (std::size_t number = 1; number < count; ++number) others.push_back(std::async(std::launch::async, run, number));
  std::vector<decltype(run(0))> results;
  results.push_back(run(0));
  for (auto& other : others) results.push_back(other.get());
  return results;
}

}  // namespace ravant::git
