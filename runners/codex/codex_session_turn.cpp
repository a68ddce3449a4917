#include "runners/codex/codex_session_turn.hpp"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/agent_runner_error.hpp"
#include "core/store/transcript_writer.hpp"
#include "runners/codex/codex_turn.hpp"

namespace ravant {
namespace {

using codex::SessionRole;

class CodexSessionTurn final : public SessionTurn {
 public:
  explicit CodexSessionTurn(std::shared_ptr<const CodexSession::Knowledge> knowledge)
      : knowledge_(std::move(knowledge)), turn_(knowledge_->model) {}

  void onRecord(std::string_view text, SessionItems& items) override {
    const json::object* object = asObject(parser_.parse(text));
    const auto line = object ? codex::parseSessionLine(*object) : std::nullopt;
    if (!line) return;
    const auto tell = [&] { notify(*object, text, items, line->begunAt); };
    switch (line->role) {
      case SessionRole::turnStart:
        items.apply(turn_.onStarted(line->turnId), text);
        break;
      case SessionRole::settings:
        if (!line->model.empty()) model_ = line->model;
        break;
      case SessionRole::prompt:
      case SessionRole::oldPrompt:
        items.addPrompt(text, line->text);
        break;
      case SessionRole::turnAbort:
        end(kCancelledTool, items);
        break;
      case SessionRole::turnEnd:
        tell();
        end(kUnfinishedTool, items);
        break;
      case SessionRole::item:
        if (line->isEmptyFailure && (isOver_ || isLate(*line))) break;
        isLate(*line) ? complete(*object, text, items) : tell();
        break;
      case SessionRole::call:
        if (!isShown(*line)) break;
        tell();
        calls_.push_back(line->callId);
        break;
      case SessionRole::output:
        if (knowledge_->callsBeforeItems.contains(line->callId) && !knowledge_->unshownCalls.contains(line->callId)) {
          tell();
        }
        break;
      case SessionRole::usage:
      case SessionRole::oldMessage:
      case SessionRole::oldCompaction:
        tell();
        break;
      case SessionRole::none:
      case SessionRole::unknown:
      case SessionRole::meta:
        break;
    }
  }

  void onEnd(SessionItems& items) override {
    for (const std::string& call : calls_) {
      const auto late = knowledge_->itemsAfterEnds.find(call);
      if (late == knowledge_->itemsAfterEnds.end()) continue;
      if (const json::object* object = asObject(parser_.parse(late->second))) notify(*object, late->second, items);
    }
    apply(turn_.close(), {}, items);
    items.endCalls(kUnfinishedTool);
  }

 private:
  bool isShown(const codex::SessionLine& call) const {
    if (knowledge_->unshownCalls.contains(call.callId)) return false;
    if (knowledge_->callsBeforeItems.contains(call.callId)) return !call.isNeverShown;
    return call.isCommand && !knowledge_->callsOfItems.contains(call.callId);
  }

  /// Of a command that stands where it was begun.
  bool isLate(const codex::SessionLine& item) const {
    return knowledge_->commands.contains(item.callId) && !knowledge_->callsOfItems.contains(item.callId);
  }

  void complete(const json::object& late, std::string_view text, SessionItems& items) {
    const auto notification = codex::notificationOf(late);
    if (!notification) return;
    std::vector<turn::Action> actions = turn_.ingest(notification->method, notification->params, text);
    for (turn::Action& action : actions) {
      auto* entry = std::get_if<TranscriptAction>(&action);
      auto* call = entry ? std::get_if<turn::AppendToolInvocation>(entry) : nullptr;
      if (!call) continue;
      const bool hasFailed = call->status == ToolInvocationStatus::failed;
      *entry = turn::CompleteToolInvocation{.toolCallId = std::move(call->toolCallId),
                                            .output = call->output.value_or(""),
                                            .outcome = hasFailed ? ToolOutcome::failed : ToolOutcome::completed};
    }
    items.apply(std::move(actions), text);
  }

  void notify(const json::object& line, std::string_view text, SessionItems& items,
              std::optional<Timestamp> begunAt = {}) {
    const auto notification = codex::notificationOf(line);
    if (notification) apply(turn_.ingest(notification->method, notification->params, text), text, items, begunAt);
  }

  void apply(std::vector<turn::Action> actions, std::string_view text, SessionItems& items,
             std::optional<Timestamp> begunAt = {}) {
    for (turn::Action& action : actions) {
      if (auto* failure = std::get_if<turn::Fail>(&action)) failure->text = AgentRunnerError::rpc(failure->text).what();
      auto* entry = std::get_if<TranscriptAction>(&action);
      auto* message = entry ? std::get_if<turn::AppendAgentMessage>(entry) : nullptr;
      if (!message) continue;
      message->agentModel = model_.empty() ? knowledge_->model : model_;
      if (message->agentModel->empty()) message->agentModel.reset();
    }
    items.apply(std::move(actions), text, begunAt);
  }

  void end(std::string_view notice, SessionItems& items) {
    isOver_ = true;
    items.endCalls(notice);
  }

  std::shared_ptr<const CodexSession::Knowledge> knowledge_;
  JsonLineParser parser_;
  CodexTurn turn_;
  std::string model_;
  std::vector<std::string> calls_;  ///< that were taken from the model's own
  bool isOver_ = false;
};

}  // namespace

std::unique_ptr<SessionTurn> makeCodexSessionTurn(std::shared_ptr<const CodexSession::Knowledge> knowledge) {
  return std::make_unique<CodexSessionTurn>(std::move(knowledge));
}

}  // namespace ravant
