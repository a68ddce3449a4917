#include "desktop/loop/rereading.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::InterfaceLoop;
using desktop::Rereading;
using desktop::ViewModel;

class Shelf : public ViewModel {
 public:
  explicit Shelf(std::chrono::milliseconds rest) : rereading(*this, [this] { return read(); }, rest) {}

  awaitable<void> read() {
    ++readings;
    const int seen = state;
    co_await alive(turn());
    if (isBroken) throw std::logic_error("broken");
    shown = seen;
  }

  int state = 0;
  int shown = 0;
  int readings = 0;
  bool isBroken = false;
  Rereading rereading;

 private:
  static awaitable<void> turn() { co_await asio::post(InterfaceLoop::instance().executor(), asio::use_awaitable); }
};

class RereadingTest : public testing::Test {
 protected:
  bool untilIdle() {
    return until([&] { return loop.isIdle(); });
  }

  InterfaceLoop loop;
};

TEST_F(RereadingTest, readsAFloodNowAndThenAndShowsTheLastState) {
  Shelf shelf(std::chrono::milliseconds(100));
  shelf.state = 1;
  shelf.rereading.soon();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(shelf.shown, 1) << "the first one does not wait";

  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(450);
  while (std::chrono::steady_clock::now() < end) {
    ++shelf.state;
    shelf.rereading.soon();
    QCoreApplication::processEvents();
  }
  EXPECT_TRUE(until([&] { return shelf.shown == shelf.state; }));
  EXPECT_LE(shelf.readings, 7);
}

TEST_F(RereadingTest, readsAtOnceForWhoWaits) {
  Shelf shelf(std::chrono::hours(1));
  shelf.rereading.soon();
  ASSERT_TRUE(untilIdle());
  shelf.state = 1;
  shelf.rereading.soon();
  EXPECT_TRUE(loop.isIdle()) << "it rests";
  EXPECT_FALSE(shelf.rereading.isIdle());
  shelf.rereading.now();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(shelf.shown, 1);

  shelf.rereading.now();
  ASSERT_TRUE(until([&] { return shelf.readings == 3; }));
  shelf.state = 2;  // while the old state is on its way
  shelf.rereading.now();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(shelf.shown, 2);
}

TEST_F(RereadingTest, tellsOfAnyErrorAndGoesOn) {
  Shelf shelf(std::chrono::milliseconds(1));
  QStringList told;
  QObject::connect(&loop, &InterfaceLoop::failed, [&](const QString& words) { told.append(words); });
  shelf.isBroken = true;
  shelf.rereading.soon();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(told, QStringList{QStringLiteral("broken")});
  shelf.isBroken = false;
  shelf.state = 1;
  shelf.rereading.soon();
  EXPECT_TRUE(until([&] { return shelf.shown == 1; }));
  EXPECT_TRUE(until([&] { return shelf.rereading.isIdle(); }));
}

TEST_F(RereadingTest, endsWithItsOwner) {
  auto shelf = std::make_unique<Shelf>(std::chrono::milliseconds(1));
  shelf->rereading.soon();
  ASSERT_TRUE(until([&] { return shelf->readings == 1; }));
  shelf->rereading.now();
  shelf.reset();
  EXPECT_TRUE(untilIdle());
}

}  // namespace
}  // namespace ravant::test
