#include "desktop/program/desktop_program.hpp"

#include "core/agent_runner_store.hpp"

namespace ravant::desktop {

DesktopProgram::DesktopProgram(std::unique_ptr<Application> application)
    : application_(std::move(application)),
      window_(std::make_unique<DesktopWindow>(*application_, changes_)),
      queue_(*application_) {}

DesktopProgram::~DesktopProgram() {
  window_.reset();
  InterfaceLoop::instance().drain();
}

void DesktopProgram::begin() {
  InterfaceLoop& loop = InterfaceLoop::instance();
  loop.spawn(changes_.follow(application_->modelContainer()->changeFeed()));
  window_->restore();
  window_->end()->watchSignals();
  loop.spawn(prepare());
  loop.spawn(application_->runners().followRemovals());
  loop.spawn(queue_.follow());
}

awaitable<void> DesktopProgram::prepare() {
  try {
    co_await application_->prepare();
    co_await application_->removeLeftovers();
  } catch (const std::exception&) {
    // What was typed before is found all the same.
    InterfaceLoop::instance().spawn(application_->keepSearchCurrent());
    throw;
  }
  co_await application_->keepSearchCurrent();
}

}  // namespace ravant::desktop
