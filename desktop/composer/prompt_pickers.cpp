#include "desktop/composer/prompt_pickers.hpp"

#include <algorithm>

#include "agent/ravant_model.hpp"
#include "app/known_settings.hpp"
#include "app/window_settings.hpp"
#include "core/reasoning_effort_label.hpp"
#include "desktop/program/desktop_window.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "PromptPickers");

QString sectionOf(const ModelOption& model) {
  const QString agent = QString::fromUtf8(displayName(model.agent.type));
  const RavantModel* const known = model.agent.type == AgentType::ravant ? findRavantModel(model.slug) : nullptr;
  return known == nullptr ? agent : agent + QStringLiteral(" · ") + QString::fromUtf8(displayName(known->provider));
}

std::optional<std::string> kept(const SettingsFile& settings, std::string_view key) {
  std::string text = settings.text(key);
  return text.empty() ? std::nullopt : std::optional(std::move(text));
}

}  // namespace

PromptPickers::PromptPickers(Application& application) : application_(application) {
  const SettingsFile& settings = application_.settings();
  ofNew_ = {.agentType = agentTypeFromRawValue(settings.text(setting::kNewConversationAgent)),
            .model = kept(settings, setting::kNewConversationModel),
            .effort = kept(settings, setting::kNewConversationEffort)};
}

void PromptPickers::choose() {
  Q_EMIT chosen();
  if (!conversation_) keeping_.now();
}

awaitable<void> PromptPickers::keepChoices() {
  const auto agent = std::ranges::find_if(options_.agents, [&](const Agent& each) {
    return ofNew_.agent ? each.id == *ofNew_.agent : each.type == ofNew_.agentType;
  });
  const auto type = agent != options_.agents.end() ? rawValue(agent->type) : std::string_view();
  const std::map<std::string, SettingValue> choices{
      {std::string(setting::kNewConversationAgent), std::string(type)},
      {std::string(setting::kNewConversationModel), ofNew_.model.value_or("")},
      {std::string(setting::kNewConversationEffort), ofNew_.effort.value_or("")}};
  try {
    co_await alive(onPool(application_.modelContainer()->work(),
                          [path = application_.settings().path(), choices] { keepSettings(path, choices); }));
  } catch (const SettingsError& error) {
    kLog.warning("what is chosen for new conversations could not be kept: {}", error.what());
  }
}

const WantedOptions& PromptPickers::wanted() { return choice(); }

void PromptPickers::show(PromptOptions options, std::optional<AgentType> foreignAgent) {
  options_ = std::move(options);
  foreignAgent_ = foreignAgent;
  fillLists();
  Q_EMIT changed();
}

void PromptPickers::fillLists() {
  std::vector<ChoiceList::Choice> choices;
  for (const Agent& agent : options_.agents) {
    choices.push_back({.value = textOf(agent.id),
                       .name = QString::fromUtf8(displayName(agent.type)),
                       .detail = QString::fromStdString(agent.path)});
  }
  agents_.replace(std::move(choices), options_.agent ? textOf(options_.agent->id) : QString(), false);
  choices.clear();
  for (const ModelOption& model : options_.models) {
    choices.push_back({.value = QString::fromStdString(model.slug),
                       .name = QString::fromStdString(model.displayName),
                       .detail = QString::fromStdString(model.displayName == model.slug ? "" : model.slug),
                       .section = sectionOf(model),
                       .owner = textOf(model.agent.id)});
  }
  models_.replace(std::move(choices), QString::fromStdString(options_.model), options_.agent.has_value());
  choices = {{.value = QString(), .name = tr("Default")}};
  for (const std::string& effort : options_.efforts.value_or(std::vector<std::string>())) {
    choices.push_back(
        {.value = QString::fromStdString(effort), .name = QString::fromStdString(reasoningEffortLabel(effort))});
  }
  efforts_.replace(std::move(choices), QString::fromStdString(options_.effort.value_or("")), !options_.efforts);
}

QString PromptPickers::agentName() const {
  if (options_.agent) return QString::fromUtf8(displayName(options_.agent->type));
  return foreignAgent_ ? QString::fromUtf8(displayName(*foreignAgent_)) : tr("none");
}

QString PromptPickers::modelName() const {
  if (options_.model.empty()) return tr("none");
  const auto listed = std::ranges::find(options_.models, options_.model, &ModelOption::slug);
  return QString::fromStdString(listed == options_.models.end() ? options_.model : listed->displayName);
}

QString PromptPickers::effortName() const {
  return options_.effort ? QString::fromStdString(reasoningEffortLabel(*options_.effort)) : tr("Default");
}

bool PromptPickers::canChooseEffort() const {
  return !options_.model.empty() && (!options_.efforts || !options_.efforts->empty());
}

void PromptPickers::chooseAgent(int row) {
  const ChoiceList::Choice* const chosenAgent = agents_.at(row);
  if (chosenAgent == nullptr || conversation_) return;
  ofNew_ = {.agent = idOf<AgentId>(chosenAgent->value)};
  choose();
}

void PromptPickers::chooseModel(int row) {
  const ChoiceList::Choice* const model = models_.at(row);
  if (model == nullptr) return;
  if (options_.agent) choice().agent = model->owner.isEmpty() ? options_.agent->id : idOf<AgentId>(model->owner);
  choice().model = model->value.toStdString();
  choose();
}

void PromptPickers::chooseEffort(int row) {
  const ChoiceList::Choice* const effort = efforts_.at(row);
  if (effort == nullptr) return;
  if (options_.agent) choice().agent = options_.agent->id;
  choice().effort = effort->value.toStdString();
  choose();
}

}  // namespace ravant::desktop
