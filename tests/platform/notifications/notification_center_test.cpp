#include "platform/notifications/notification_center.hpp"

#include <gtest/gtest.h>

#include <boost/asio/post.hpp>
#include <thread>

#include "tests/support/run.hpp"

namespace ravant::test {
namespace {

/// Everything an observer gets until its stream ends or `count` have come.
awaitable<std::vector<Notification>> received(std::shared_ptr<NotificationObserver> observer, std::size_t count) {
  std::vector<Notification> all;
  while (all.size() < count) {
    auto batch = co_await observer->next();
    if (!batch) break;
    all.insert(all.end(), batch->begin(), batch->end());
  }
  co_return all;
}

constexpr std::size_t kAll = 1'000'000;

class NotificationCenterTest : public testing::Test {
 protected:
  asio::io_context loop_;
  std::optional<NotificationCenter> center_{std::in_place};
};

TEST_F(NotificationCenterTest, givesEachObserverItsNameInOrder) {
  const Notification first{"turnEnded", "c1", {{"reason", "done"}}};
  const Notification second{"turnEnded", "c2"};
  center_->post(first);
  const auto observer = center_->observe("turnEnded", loop_.get_executor());
  const auto other = center_->observe("itemAdded", loop_.get_executor());
  center_->post(first);
  center_->post({"itemAdded", "c1"});
  center_->post(second);
  center_.reset();
  EXPECT_EQ(run(received(observer, kAll), loop_), (std::vector{first, second}));
  EXPECT_EQ(run(received(other, kAll), loop_), (std::vector{Notification{"itemAdded", "c1"}}));
}

TEST_F(NotificationCenterTest, observersOnManyThreadsSeeOneOrder) {
  constexpr std::size_t kPosts = 2000;
  asio::io_context otherLoop;
  const auto first = center_->observe("n", loop_.get_executor());
  const auto second = center_->observe("n", otherLoop.get_executor());
  std::vector<Notification> atFirst;
  std::vector<Notification> atSecond;
  {
    const auto post = [&](std::string object) {
      for (std::size_t i = 0; i < kPosts; ++i) center_->post({"n", object, {{"i", std::to_string(i)}}});
    };
    const std::jthread one(post, "a");
    const std::jthread two(post, "b");
    const std::jthread reader([&] { atSecond = run(received(second, 2 * kPosts), otherLoop); });
    atFirst = run(received(first, 2 * kPosts), loop_);
  }
  EXPECT_EQ(atFirst.size(), 2 * kPosts);
  EXPECT_EQ(atFirst, atSecond);

  std::erase_if(atFirst, [](const auto& notification) { return notification.object != "a"; });
  std::vector<Notification> expected;
  for (std::size_t i = 0; i < kPosts; ++i) expected.push_back({"n", "a", {{"i", std::to_string(i)}}});
  EXPECT_EQ(atFirst, expected);
}

TEST_F(NotificationCenterTest, destroyingAnObserverEndsTheWaitForIt) {
  auto observer = center_->observe("n", loop_.get_executor());
  auto waiting = observer->next();
  asio::post(loop_, [&] { observer.reset(); });
  EXPECT_EQ(run(std::move(waiting), loop_), std::nullopt);
  center_->post({"n", "nobody"});
}

TEST_F(NotificationCenterTest, destroyingTheCenterEndsTheWaitForIt) {
  const auto observer = center_->observe("n", loop_.get_executor());
  asio::post(loop_, [&] { center_.reset(); });
  EXPECT_EQ(run(observer->next(), loop_), std::nullopt);
}

}  // namespace
}  // namespace ravant::test
