#include "app/window_settings.hpp"
#include "cli/command/command.hpp"
#include "cli/output/palette_text.hpp"
#include "palette/command_palette_model.hpp"

namespace ravant::cli {
namespace {

awaitable<ExitStatus> run(CommandContext& context, Arguments arguments) {
  Application& application = context.application();
  const auto interface = co_await asio::this_coro::executor;
  const auto palette = std::make_shared<CommandPaletteModel>(paletteOptionsOf(application.settings(), interface));
  palette->configure(nullptr, application.modelContainer(), {});
  co_await palette->open();
  palette->setQuery(arguments.text("QUERY"));
  palette->close();
  if (context.wantsJson()) {
    context.output.json(jsonForm(palette->sections()));
  } else {
    context.output.write(paletteText(palette->sections(), context.output.style()));
  }
  co_return ExitStatus::done;
}

}  // namespace

Command paletteCommand() {
  return {.name = "palette",
          .summary = "Show what the palette of a window finds",
          .description =
              "Looks for QUERY in commands, conversations, projects, pinned views, integrations, issues and pull "
              "requests, as a window's palette does, with the keys of commands. An empty QUERY (\"\") finds "
              "everything. How many entries are shown is a setting (palette.sectionItems, palette.recentItems).",
          .positionals = {{.name = "QUERY"}},
          .run = run};
}

}  // namespace ravant::cli
