#pragma once

#include <memory>
#include <string>
#include <utility>

#include "integrations/github/github_integration_store.hpp"
#include "integrations/github/github_pauses.hpp"

namespace ravant {

/// What a host asked an account to wait for, in the store.
class StoredPauses final : public GithubPauses {
 public:
  StoredPauses(std::shared_ptr<GithubIntegrationStore> integrations, GithubIntegrationId id)
      : integrations_(std::move(integrations)), id_(id) {}

  awaitable<std::optional<Timestamp>> pausedUntil(std::string resource) override {
    return integrations_->pausedUntil(id_, std::move(resource));
  }
  awaitable<void> pause(std::string resource, Timestamp until) override {
    return integrations_->pause(id_, std::move(resource), until);
  }

 private:
  const std::shared_ptr<GithubIntegrationStore> integrations_;
  const GithubIntegrationId id_;
};

}  // namespace ravant
