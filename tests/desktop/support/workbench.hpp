#pragma once

#include <gtest/gtest.h>

#include <QEventLoop>
#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <string_view>

#include "desktop/loop/interface_loop.hpp"
#include "desktop/program/desktop_program.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {

/// Runs Qt's loop until the condition holds; false where it does not within the limit.
bool until(const std::function<bool()>& condition, std::chrono::milliseconds limit = std::chrono::seconds(20));

/// Runs Qt's loop until the operation is over, and returns or throws what it does.
template <class T>
T await(awaitable<T> operation) {
  bool isOver = false;
  std::exception_ptr error;
  std::optional<std::conditional_t<std::is_void_v<T>, std::monostate, T>> result;
  const auto run = [](awaitable<T> awaited, auto& into) -> awaitable<void> {
    if constexpr (std::is_void_v<T>) {
      co_await std::move(awaited);
    } else {
      into.emplace(co_await std::move(awaited));
    }
  };
  asio::co_spawn(desktop::InterfaceLoop::instance().executor(), run(std::move(operation), result),
                 [&](const std::exception_ptr& thrown) {
                   error = thrown;
                   isOver = true;
                 });
  if (!until([&] { return isOver; })) throw std::runtime_error("the operation did not end");
  if (error) std::rethrow_exception(error);
  if constexpr (!std::is_void_v<T>) return *std::move(result);
}

/// A program without a window over a store of its own, in a home folder of its own; ended in order.
class Workbench {
 public:
  /// `settings` as its file has them.
  explicit Workbench(std::string_view settings = R"({"keyStore":"file"})");
  ~Workbench();
  Workbench(const Workbench&) = delete;
  Workbench& operator=(const Workbench&) = delete;

  const TemporaryFolder& folder() const { return folder_; }
  desktop::DesktopProgram& program() { return *program_; }
  desktop::DesktopWindow& window() { return program_->window(); }
  Application& application() { return program_->application(); }

  /// A project whose folder is there.
  Project addProject(std::string_view name);
  /// A conversation in it, with an agent of the type.
  ConversationId addConversation(const Project& project, AgentType agent = AgentType::claude);
  /// Returns when everything that was committed so far has been announced.
  void settle();

 private:
  TemporaryFolder folder_;
  desktop::InterfaceLoop loop_;
  std::optional<desktop::DesktopProgram> program_;
};

}  // namespace ravant::test
