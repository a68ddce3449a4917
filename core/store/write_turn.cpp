#include "core/store/write_turn.hpp"

#include <thread>

namespace ravant {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongest{200};
constexpr milliseconds kPause{150};  // SQLite looks again after 100 ms at the latest

}  // namespace

bool WriteTurn::isOver() const { return std::chrono::steady_clock::now() - begun_ >= kLongest; }

void WriteTurn::letOthersWrite() { std::this_thread::sleep_for(kPause); }

}  // namespace ravant
