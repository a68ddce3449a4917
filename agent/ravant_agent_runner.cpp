#include "agent/ravant_agent_runner.hpp"

#include <fmt/format.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <stdexcept>
#include <utility>

#include "agent/message_list.hpp"
#include "agent/ravant_agent_tools.hpp"
#include "agent/ravant_tools.hpp"
#include "core/agent_runner_error.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/files/working_folder.hpp"
#include "platform/http/base_address.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.agent", "RavantAgentRunner");
constexpr std::size_t kQuotedArguments = 200;  // bytes

class Cancelled : public std::runtime_error {
 public:
  Cancelled() : std::runtime_error("Cancelled") {}
};

/// What a message that grows has come to.
struct Growing {
  std::string unannounced;
  bool isAnnounced = false;  ///< some of it
  bool isOver = false;
};

/// What a command prints goes to the provider and into the transcript.
std::vector<std::string> keyVariables() {
  std::vector<std::string> names;
  for (const RavantProvider provider : kRavantProviders) names.emplace_back(keyVariable(provider));
  return names;
}

/// Why a turn that asks for no tools is no answer; empty where it is one.
std::string objectionTo(const ChatTurn& turn) {
  if (turn.finishReason == "length") return "The answer was cut off: the model reached its limit.";
  if (turn.finishReason == "content_filter") return "The provider withheld the answer (content_filter).";
  return {};
}

std::optional<TokenUsageSnapshot> usageOf(const ChatTurn& turn, std::int64_t contextWindow) {
  if (!turn.usage) return std::nullopt;
  try {
    return TokenUsageSnapshot::usageSnapshot(*turn.usage, contextWindow);
  } catch (const std::overflow_error& error) {
    kLog.warning("a usage report is not applied: {}", error.what());
    return std::nullopt;
  }
}

}  // namespace

struct RavantAgentRunner::Run {
  Run(AgentRunRequest asked, std::shared_ptr<ModelContainer> modelContainer, const any_io_executor& strand)
      : request(std::move(asked)), writer(std::move(modelContainer), request.conversationId), grown(strand) {}

  void throwIfCancelled() const {
    if (isCancelled) throw Cancelled();
  }

  AgentRunRequest request;
  TranscriptWriter writer;
  const RavantModel* model = nullptr;
  std::unique_ptr<ChatCompletionsClient> client;
  std::unique_ptr<RavantTools> tools;
  Memory memory;
  bool isCancelled = false;

  // Of the turn under way.
  ChatTurn turn;
  std::exception_ptr error;
  Growing growing;
  Signal grown;
};

RavantAgentRunner::RavantAgentRunner(std::shared_ptr<ModelContainer> modelContainer, RavantRunnerOptions options)
    : Actor(options.io), modelContainer_(std::move(modelContainer)), options_(std::move(options)), changed_(strand()) {}

RavantAgentRunner::~RavantAgentRunner() = default;

awaitable<void> RavantAgentRunner::send(AgentRunRequest request) {
  return onActor([this, request = std::move(request)]() mutable -> awaitable<void> {
    const ConversationId conversation = request.conversationId;
    if (sending_.contains(conversation)) throw AgentRunnerError(AgentRunnerError::Case::busy);
    const auto run = std::make_shared<Run>(std::move(request), modelContainer_, strand());
    sending_.emplace(conversation, run);

    std::exception_ptr error;
    try {
      co_await run->writer.record(
          run->request.prompt, AgentType::ravant, [run] { return run->isCancelled; }, [&] { return runTurns(run); });
    } catch (...) {
      error = std::current_exception();
    }
    sending_.erase(conversation);
    changed_.notify();
    if (error) std::rethrow_exception(error);
  });
}

awaitable<void> RavantAgentRunner::runTurns(std::shared_ptr<Run> run) {
  std::exception_ptr error;
  try {
    co_await prepare(run);
    for (int turnNumber = 1; turnNumber <= maxTurns_; ++turnNumber) {
      run->throwIfCancelled();
      ChatTurn turn = co_await streamTurn(run);
      if (turn.toolCalls.empty()) {
        if (std::string objection = objectionTo(turn); !objection.empty()) throw AgentReportedError(objection);
        break;
      }
      co_await callTools(run, std::move(turn.toolCalls));
      if (turnNumber == maxTurns_) {
        throw AgentReportedError(fmt::format("Stopped after {} tool-call turns without finishing.", maxTurns_));
      }
    }
  } catch (...) {
    error = std::current_exception();
  }
  if (!run->memory.messages.empty()) transcripts_[run->request.conversationId] = std::move(run->memory);
  if (run->isCancelled) throw Cancelled();
  if (error) std::rethrow_exception(error);
}

awaitable<void> RavantAgentRunner::prepare(std::shared_ptr<Run> run) {
  // Also where the run fails before a request: what was said is remembered.
  co_await recall(run);
  const AgentRunRequest& request = run->request;
  run->model = findRavantModel(request.model);
  if (run->model == nullptr) throw PromptRefusedError(fmt::format("Unknown model \"{}\"", request.model));
  expectFolder(request.workingDirectory);

  const RavantProvider provider = run->model->provider;
  const auto key = co_await options_.keys->ravantProviderAPIKey(std::string(rawValue(provider)));
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
  run->client = std::make_unique<ChatCompletionsClient>(
      provider, *key,
      ChatCompletionsOptions{
          .http = options_.http, .baseAddress = address, .session = options_.session, .retry = options_.retry});
  run->tools = std::make_unique<RavantTools>(RavantToolsOptions{.workingDirectory = request.workingDirectory,
                                                                .work = options_.work,
                                                                .shellPath = options_.shellPath,
                                                                .withheldVariables = keyVariables(),
                                                                .processes = options_.processes});
}

/// The transcript ends with this prompt already.
awaitable<void> RavantAgentRunner::recall(std::shared_ptr<Run> run) {
  const auto items = ConversationItemModelActor::make(modelContainer_);
  const auto entries = co_await items->loadTranscriptEntries(run->request.conversationId);
  const auto known = transcripts_.find(run->request.conversationId);
  if (known != transcripts_.end() && known->second.entries + 1 == entries.size()) {
    run->memory = known->second;
    run->memory.messages.emplace_back(message::User{run->request.prompt});
  } else {
    run->memory.messages = rehydratedTranscript(entries);
  }
  run->memory.entries = entries.size();
}

awaitable<ChatTurn> RavantAgentRunner::streamTurn(std::shared_ptr<Run> run) {
  using namespace asio::experimental::awaitable_operators;
  run->turn = {};
  run->error = nullptr;
  run->growing = {};
  co_await (followStream(run) && announceGrowth(run));

  ChatTurn turn = std::move(run->turn);
  message::Assistant answer =
      fitToBeSent({.text = turn.text, .toolCalls = run->error ? std::vector<RavantToolCall>() : turn.toolCalls});
  co_await emitAssistantText(run, turn);
  // The ids by which the results are to be given.
  for (std::size_t i = 0; i < answer.toolCalls.size(); ++i) turn.toolCalls[i].id = answer.toolCalls[i].id;
  if (!answer.toolCalls.empty() || !trimmed(answer.text).empty()) {
    run->memory.messages.emplace_back(std::move(answer));
  }
  if (run->error) std::rethrow_exception(run->error);
  co_return turn;
}

/// What was said before a failure stays in the turn.
awaitable<void> RavantAgentRunner::followStream(std::shared_ptr<Run> run) {
  std::string said;
  try {
    chat::Request request{.model = run->request.model,
                          .systemPrompt = systemPrompt(run->request.workingDirectory),
                          .messages = fittedTo(run->model->provider, run->memory.messages),
                          .tools = RavantAgentTools::definitions(),
                          .temperature = std::nullopt};
    run->turn = co_await run->client->streamTurn(std::move(request), [&](std::string_view fragment) {
      said += fragment;
      run->growing.unannounced += fragment;
      run->grown.notify();
    });
  } catch (...) {
    run->error = std::current_exception();
    run->turn.text = std::move(said);
  }
  run->growing.isOver = true;
  run->grown.notify();
}

awaitable<void> RavantAgentRunner::announceGrowth(std::shared_ptr<Run> run) {
  Growing& growing = run->growing;
  while (!growing.isOver) {
    if (growing.unannounced.empty()) {
      co_await run->grown.wait();
      continue;
    }
    co_await run->writer.perform({turn::Grow{.text = std::exchange(growing.unannounced, {}),
                                             .isNewMessage = !std::exchange(growing.isAnnounced, true)}});
  }
}

awaitable<void> RavantAgentRunner::emitAssistantText(std::shared_ptr<Run> run, ChatTurn turn) {
  std::vector<TranscriptAction> actions;
  if (!trimmed(turn.text).empty()) {
    actions.emplace_back(turn::AppendAgentMessage{.rawJSON = chat::rawTurn(turn),
                                                  .text = turn.text,
                                                  .agentModel = run->request.model,
                                                  .providerMessageId = turn.responseId});
    ++run->memory.entries;
  }
  if (const auto usage = usageOf(turn, run->model->contextWindow)) {
    actions.emplace_back(turn::ApplyUsage{.providerMessageId = turn.responseId, .snapshot = *usage});
    actions.emplace_back(turn::ApplyContextWindow{run->model->contextWindow});
  }
  if (!actions.empty()) co_await run->writer.store(std::move(actions));
}

awaitable<void> RavantAgentRunner::callTools(std::shared_ptr<Run> run, std::vector<RavantToolCall> calls) {
  std::size_t done = 0;
  std::exception_ptr error;
  try {
    for (; done < calls.size() && !run->isCancelled; ++done) co_await callTool(run, calls[done]);
  } catch (...) {
    error = std::current_exception();
  }
  for (; done < calls.size(); ++done) {
    run->memory.messages.emplace_back(
        message::ToolResult{.callId = calls[done].id,
                            .name = sendableName(calls[done].name),
                            .content = std::string(run->isCancelled ? kCancelledTool : kUnfinishedTool),
                            .isError = true});
  }
  if (error) std::rethrow_exception(error);
  run->throwIfCancelled();
}

awaitable<void> RavantAgentRunner::callTool(std::shared_ptr<Run> run, RavantToolCall call) {
  co_await run->writer.store({turn::AppendToolInvocation{.rawJSON = chat::rawToolCall(call),
                                                         .text = call.name,
                                                         .toolName = call.name,
                                                         .toolCallId = call.id,
                                                         .input = call.argumentsJSON}});
  ++run->memory.entries;
  RavantToolResult result;
  if (auto arguments = parseArguments(call.argumentsJSON)) {
    result = co_await run->tools->execute(call.name, *std::move(arguments));
  } else {
    result = {
        .output = fmt::format("The arguments are no JSON object: {}", utf8Prefix(call.argumentsJSON, kQuotedArguments)),
        .isError = true};
  }
  co_await run->writer.store(
      {turn::CompleteToolInvocation{.toolCallId = call.id,
                                    .output = result.output,
                                    .outcome = result.isError ? ToolOutcome::failed : ToolOutcome::completed}});
  run->memory.messages.emplace_back(message::ToolResult{.callId = std::move(call.id),
                                                        .name = sendableName(call.name),
                                                        .content = std::move(result.output),
                                                        .isError = result.isError});
}

awaitable<void> RavantAgentRunner::cancel(ConversationId conversationId) {
  return onActor([this, conversationId]() -> awaitable<void> {
    const auto found = sending_.find(conversationId);
    if (found != sending_.end()) co_await stop(found->second);
  });
}

awaitable<void> RavantAgentRunner::stop(std::shared_ptr<Run> run) {
  const ConversationId conversation = run->request.conversationId;
  run->isCancelled = true;
  if (run->client) run->client->invalidate();
  if (run->tools) run->tools->stop();
  const auto isSending = [&] {
    const auto found = sending_.find(conversation);
    return found != sending_.end() && found->second == run;
  };
  while (isSending()) co_await changed_.wait();
}

awaitable<void> RavantAgentRunner::shutdown() {
  return onActor([this]() -> awaitable<void> {
    while (!sending_.empty()) co_await stop(sending_.begin()->second);
  });
}

std::string RavantAgentRunner::systemPrompt(const std::filesystem::path& workingDirectory) {
  return fmt::format(
      "You are Ravant, a concise and capable software engineering agent running inside a macOS app.\n\n"
      "Working directory:{}\n\n"
      "You can inspect and modify the project using the provided tools. Prefer the dedicated\n"
      "file tools for reading and writing files, and use the `bash` tool for everything else\n"
      "(building, running tests, git, search). Keep responses short; let tool results speak.\n\n"
      "When the task is complete, stop calling tools and give a brief summary of what you did.",
      workingDirectory.string());
}

}  // namespace ravant
