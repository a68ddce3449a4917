#include <fmt/ranges.h>

#include "app/known_settings.hpp"
#include "app/services.hpp"
#include "cli/command/command.hpp"
#include "cli/command/key_words.hpp"
#include "cli/command/user_input.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

RavantProvider findProvider(const std::string& word) {
  if (const auto provider = ravantProviderFromRawValue(word)) return *provider;
  std::vector<std::string_view> known;
  for (const RavantProvider provider : kRavantProviders) known.push_back(rawValue(provider));
  throw CommandError(fmt::format("there is no provider \"{}\"; there is {}", word, fmt::join(known, ", ")));
}

std::string sourceWord(CommandContext& context, KeySource source) {
  if (source == KeySource::environment) return "environment";
  return std::string(keepsKeysInFile(context) ? setting::kFile : setting::kSecretService);
}

std::string sourceText(CommandContext& context, RavantProvider provider, std::optional<KeySource> source) {
  if (!source) return "none";
  if (*source == KeySource::environment) return fmt::format("environment variable {}", keyVariable(provider));
  if (!keepsKeysInFile(context)) return "key store of the desktop";
  return fmt::format("file {}, not encrypted", keyFile(context.locations).string());
}

awaitable<ExitStatus> set(CommandContext& context, Arguments arguments) {
  const RavantProvider provider = findProvider(arguments.text("PROVIDER"));
  RavantProviderKey& keys = context.application().providerKeys();
  std::string key = readSecret(fmt::format("Key of {}: ", displayName(provider)));
  if (trimmed(key).empty()) throw CommandError("the key is empty; to take one away, use \"ravant key remove\"");
  try {
    co_await keys.setRavantProviderAPIKey(std::move(key), std::string(rawValue(provider)));
  } catch (const ProviderKeyError& error) {
    throw CommandError(error.what());
  }
  if (context.wantsJson()) {
    context.output.json({{"provider", rawValue(provider)}, {"source", sourceWord(context, KeySource::keyStore)}});
  } else {
    context.output.line(oneLine(fmt::format("Stored the key of {}: {}", displayName(provider),
                                            sourceText(context, provider, KeySource::keyStore))));
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> remove(CommandContext& context, Arguments arguments) {
  const RavantProvider provider = findProvider(arguments.text("PROVIDER"));
  RavantProviderKey& keys = context.application().providerKeys();
  if (!co_await keys.removeRavantProviderAPIKey(std::string(rawValue(provider)))) {
    throw CommandError(fmt::format("no key of {} is stored", displayName(provider)));
  }
  const auto variable = RavantProviderKey::environmentVariable(keyVariable(provider));
  const bool isInEnvironment = variable && !trimmed(*variable).empty();
  if (context.wantsJson()) {
    context.output.json({{"provider", rawValue(provider)}});
  } else {
    context.output.line(fmt::format("Removed the key of {}", displayName(provider)));
    if (isInEnvironment) {
      context.output.line(fmt::format("The one in the environment variable {} is used now", keyVariable(provider)));
    }
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> list(CommandContext& context, Arguments) {
  json::array forms;
  Table table({"PROVIDER", "NAME", "KEY"});
  for (const RavantProvider provider : kRavantProviders) {
    json::object form{{"provider", rawValue(provider)}, {"displayName", displayName(provider)}};
    std::string text;
    try {
      const auto source = co_await context.application().providerKeys().source(std::string(rawValue(provider)));
      if (source) form.emplace("source", sourceWord(context, *source));
      text = sourceText(context, provider, source);
    } catch (const std::exception& error) {
      form.emplace("fault", error.what());
      text = fmt::format("not known: {}", error.what());
    }
    forms.push_back(std::move(form));
    table.add({std::string(rawValue(provider)), std::string(displayName(provider)), text});
  }
  if (context.wantsJson()) {
    context.output.json(forms);
  } else {
    context.output.write(table.text(context.output.style()));
  }
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup keyCommands() {
  const PositionalDescription provider = {.name = "PROVIDER", .kind = ValueKind::provider};
  return {.name = "key",
          .summary = "The keys with which Ravant's own agent asks providers",
          .commands = {
              {.name = "set",
               .summary = "Store the key of a provider",
               .description =
                   "The key is read from standard input, never from the command line. It is kept in the key store of "
                   "the desktop, or, where the setting keyStore is \"file\", in a file that only you may read and that "
                   "is not encrypted. It goes before one in the environment (OPENROUTER_API_KEY, MISTRAL_API_KEY).",
               .positionals = {provider},
               .run = set},
              {.name = "remove",
               .summary = "Take the stored key of a provider away",
               .positionals = {provider},
               .run = remove},
              {.name = "list", .summary = "Show which providers have a key and where it comes from", .run = list}}};
}

}  // namespace ravant::cli
