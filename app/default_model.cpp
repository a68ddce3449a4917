#include "app/default_model.hpp"

#include "agent/ravant_model.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.app", "DefaultModel");

awaitable<bool> hasKey(Application& application, RavantProvider provider) {
  try {
    co_return (co_await application.providerKeys().source(std::string(rawValue(provider)))).has_value();
  } catch (const std::exception& error) {
    kLog.warning("the key of {} is not known: {}", rawValue(provider), error.what());
    co_return false;
  }
}

}  // namespace

awaitable<bool> hasProviderKey(Application& application) {
  for (const RavantProvider provider : kRavantProviders) {
    if (co_await hasKey(application, provider)) co_return true;
  }
  co_return false;
}

awaitable<std::optional<std::string>> defaultModel(Application& application, Agent agent) {
  std::optional<std::string> first;
  std::map<RavantProvider, bool> haveKeys;
  for (const AgentModel& model : co_await application.agents().models(agent.id)) {
    if (!model.enabled) continue;
    if (!first) first = model.slug;
    const RavantModel* known = agent.type == AgentType::ravant ? findRavantModel(model.slug) : nullptr;
    if (known == nullptr) break;
    const auto [entry, isNew] = haveKeys.try_emplace(known->provider, false);
    if (isNew) entry->second = co_await hasKey(application, known->provider);
    if (entry->second) co_return model.slug;
  }
  co_return first;
}

}  // namespace ravant
