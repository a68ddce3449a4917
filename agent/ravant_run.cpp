#include "agent/ravant_run.hpp"

#include <fmt/format.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <stdexcept>
#include <utility>

#include "agent/answer_announcements.hpp"
#include "agent/message_list.hpp"
#include "agent/ravant_agent_tools.hpp"
#include "agent/ravant_tools.hpp"
#include "agent/system_prompt.hpp"
#include "core/agent_runner_error.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "platform/files/working_folder.hpp"
#include "platform/http/base_address.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr int kMaxTurns = 24;
constexpr std::size_t kQuotedArguments = 200;  // bytes

class Cancelled : public std::runtime_error {
 public:
  Cancelled() : std::runtime_error("Cancelled") {}
};

/// Why a turn is no whole answer; nothing where it is one. A provider that names no reason leaves it open.
std::optional<turn::Fail> objectionTo(const ChatTurn& turn) {
  const std::string reason = turn.finishReason.value_or("stop");
  if (reason == "stop" || reason == "tool_calls" || reason == "function_call") return std::nullopt;
  if (reason == "length") {
    return turn::Fail{.text = "The answer was cut off: the model reached its limit.", .cause = FailureCause::limit};
  }
  if (reason == "model_length") {
    return turn::Fail{.text = "The answer was cut off: the conversation fills the model's context (model_length).",
                      .cause = FailureCause::limit};
  }
  if (reason == "content_filter") return turn::Fail{.text = "The provider withheld the answer (content_filter)."};
  return turn::Fail{.text = fmt::format("The provider ended the answer before it was whole ({}).", reason)};
}

std::optional<TokenUsageSnapshot> usageOf(const ChatTurn& turn, std::int64_t contextWindow) {
  return turn.usage ? TokenUsageSnapshot::usageSnapshot(*turn.usage, contextWindow) : std::nullopt;
}

bool hasWords(const ChatTurn& turn) { return !trimmed(turn.text).empty(); }

}  // namespace

RavantRun::RavantRun(AgentRunRequest request, RavantMemory known, std::shared_ptr<ModelContainer> modelContainer,
                     const RavantRunnerOptions& options, any_io_executor strand)
    : request_(std::move(request)),
      options_(options),
      strand_(std::move(strand)),
      modelContainer_(std::move(modelContainer)),
      writer_(modelContainer_, request_.conversationId),
      memory_(std::move(known)) {}

RavantRun::~RavantRun() = default;

awaitable<void> RavantRun::perform() {
  return writer_.record(
      request_.prompt, AgentType::ravant, [this] { return isStopped(); }, [this] { return turns(); },
      request_.choice());
}

void RavantRun::stop() {
  stop_.request_stop();
  if (client_) client_->invalidate();
  if (tools_) tools_->stop();
}

awaitable<void> RavantRun::endDetached() {
  if (tools_) co_await tools_->endDetached();
}

void RavantRun::throwIfStopped() const {
  if (isStopped()) throw Cancelled();
}

awaitable<void> RavantRun::turns() {
  // Also where the run fails before a request: what was said is remembered.
  co_await recall();
  co_await prepare();
  for (int turnNumber = 1; turnNumber <= kMaxTurns; ++turnNumber) {
    throwIfStopped();
    Answer answer = co_await ask();
    co_await keep(answer);
    if (answer.error) std::rethrow_exception(answer.error);
    if (answer.objection) co_await fail(*std::move(answer.objection));
    if (answer.turn.toolCalls.empty()) co_return;
    co_await callTools(std::move(answer.turn));
  }
  co_await fail({.text = fmt::format("Stopped after {} tool-call turns without finishing.", kMaxTurns),
                 .cause = FailureCause::limit});
}

/// The transcript ends with this prompt already.
awaitable<void> RavantRun::recall() {
  const auto items = ConversationItemModelActor::make(modelContainer_);
  const auto entries = co_await items->loadTranscriptEntries(request_.conversationId);
  if (memory_.entries + 1 == entries.size()) {
    memory_.messages.emplace_back(message::User{request_.prompt});
  } else {
    memory_.messages = rehydratedTranscript(entries);
  }
  memory_.entries = entries.size();
}

awaitable<void> RavantRun::prepare() {
  model_ = findRavantModel(request_.model);
  if (model_ == nullptr) throw PromptRefusedError(fmt::format("Unknown model \"{}\"", request_.model));
  expectFolder(request_.workingDirectory);

  const RavantProvider provider = model_->provider;
  const auto key = co_await options_.keys->ravantProviderAPIKey(std::string(rawValue(provider)), stop_.get_token());
  if (!key) {
    throw PromptRefusedError(
        fmt::format("No {} API key configured. Add one in Settings → Agents → Ravant.", displayName(provider)));
  }
  std::string address;
  try {
    address = baseAddress(options_.baseAddresses.at(provider));
  } catch (const BaseAddressError& error) {
    throw PromptRefusedError(fmt::format("the address of {} cannot be used: {}", displayName(provider), error.what()));
  }
  client_ = std::make_unique<ChatCompletionsClient>(
      provider, *key,
      ChatCompletionsOptions{
          .http = options_.http, .baseAddress = address, .session = options_.session, .retry = options_.retry});
  // What a command prints goes to the provider and into the transcript.
  tools_ = std::make_unique<RavantTools>(RavantToolsOptions{.workingDirectory = request_.workingDirectory,
                                                            .work = options_.work,
                                                            .shellPath = options_.shellPath,
                                                            .withheldVariables = keyVariables(),
                                                            .processes = options_.processes});
}

awaitable<RavantRun::Answer> RavantRun::ask() {
  using namespace asio::experimental::awaitable_operators;
  chat::Request request{.model = request_.model,
                        .systemPrompt = systemPrompt(request_.workingDirectory),
                        .messages = fittedTo(*model_, memory_.messages),
                        .tools = RavantAgentTools::definitions(),
                        .temperature = std::nullopt};
  AnswerAnnouncements announcements(writer_, strand_);
  Answer answer;
  const auto follow = [&]() -> awaitable<void> {
    ChatTurnEvents events = announcements.events();
    events.onBreak = [&answer](std::string said) { answer.turn.text = std::move(said); };
    try {
      answer.turn = co_await client_->streamTurn(std::move(request), std::move(events));
      answer.objection = objectionTo(answer.turn);
    } catch (...) {
      answer.error = std::current_exception();
    }
    announcements.end();
  };
  co_await (follow() && announcements.announce());
  co_return answer;
}

/// Remembers and stores an answer. Of one that is not whole, the words stay, and nothing else is acted on.
awaitable<void> RavantRun::keep(Answer& answer) {
  ChatTurn& turn = answer.turn;
  if (!answer.isWhole()) {
    turn.toolCalls.clear();
    turn.reasoning.clear();
  }
  message::Assistant said = fitToBeSent(
      {.text = turn.text, .toolCalls = turn.toolCalls, .reasoning = turn.reasoning, .model = request_.model});
  // The ids by which the results are to be given.
  for (std::size_t i = 0; i < said.toolCalls.size(); ++i) turn.toolCalls[i].id = said.toolCalls[i].id;
  if (!said.toolCalls.empty() || hasWords(turn)) memory_.messages.emplace_back(std::move(said));

  std::vector<TranscriptAction> actions;
  if (hasWords(turn)) {
    actions.emplace_back(turn::AppendAgentMessage{.rawJSON = chat::rawTurn(turn, request_.model),
                                                  .text = turn.text,
                                                  .agentModel = request_.model,
                                                  .providerMessageId = turn.responseId});
    ++memory_.entries;
  }
  if (const auto usage = usageOf(turn, model_->contextWindow)) {
    actions.emplace_back(turn::ApplyUsage{.providerMessageId = turn.responseId, .snapshot = *usage});
    actions.emplace_back(turn::ApplyContextWindow{model_->contextWindow});
  }
  if (!actions.empty()) co_await writer_.store(std::move(actions));
}

/// Every call gets a result, also where the run is stopped or fails before it.
awaitable<void> RavantRun::callTools(ChatTurn turn) {
  const std::vector<RavantToolCall>& calls = turn.toolCalls;
  std::size_t done = 0;
  std::exception_ptr error;
  try {
    for (; done < calls.size() && !isStopped(); ++done) {
      // The first call of a turn without words keeps the turn in place of a message.
      const bool keepsTurn = done == 0 && !hasWords(turn);
      co_await callTool(calls[done], keepsTurn ? chat::rawTurn(turn, request_.model) : chat::rawToolCall(calls[done]));
    }
  } catch (...) {
    error = std::current_exception();
  }
  for (; done < calls.size(); ++done) {
    memory_.messages.emplace_back(
        message::ToolResult{.callId = calls[done].id,
                            .name = sendableName(calls[done].name),
                            .content = std::string(isStopped() ? kCancelledTool : kUnfinishedTool),
                            .isError = true});
  }
  if (error) std::rethrow_exception(error);
  throwIfStopped();
}

awaitable<void> RavantRun::callTool(RavantToolCall call, std::string raw) {
  co_await writer_.store({turn::AppendToolInvocation{.rawJSON = std::move(raw),
                                                     .text = call.name,
                                                     .toolName = call.name,
                                                     .toolCallId = call.id,
                                                     .input = call.argumentsJSON}});
  ++memory_.entries;
  RavantToolResult result;
  if (auto arguments = parseArguments(call.argumentsJSON)) {
    result = co_await tools_->execute(call.name, *std::move(arguments));
  } else {
    result = {
        .output = fmt::format("The arguments are no JSON object: {}", utf8Prefix(call.argumentsJSON, kQuotedArguments)),
        .isError = true};
  }
  co_await writer_.store(
      {turn::CompleteToolInvocation{.toolCallId = call.id,
                                    .output = result.output,
                                    .outcome = result.isError ? ToolOutcome::failed : ToolOutcome::completed}});
  memory_.messages.emplace_back(message::ToolResult{.callId = std::move(call.id),
                                                    .name = sendableName(call.name),
                                                    .content = std::move(result.output),
                                                    .isError = result.isError});
}

awaitable<void> RavantRun::fail(turn::Fail failure) {
  const AgentReportedError error(failure.text);
  std::vector<turn::Action> actions;
  actions.emplace_back(std::move(failure));
  co_await writer_.perform(std::move(actions));
  throw error;
}

}  // namespace ravant
