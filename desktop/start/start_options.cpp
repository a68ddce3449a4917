#include "desktop/start/start_options.hpp"

#include <QCommandLineParser>
#include <cstdlib>

namespace ravant::desktop {
namespace {

constexpr int kWrongCommandLine = 2;

constexpr std::string_view kHelp = R"(usage: ravant-desktop [--data-dir DIR] [--project PATH | --conversation CONV |
                      --new-conversation]

Shows the projects and conversations of ravant in one window.

  --data-dir DIR       the folder of the store
  --project PATH       show the project in this folder; a folder that is no project
                       yet becomes one
  --conversation CONV  show this conversation: its id, or at least 6 characters of it
  --new-conversation   show the page for a new conversation
  --activated          show nothing until the session bus says what
  -h, --help           show this
  --version            show the version

The environment counts as for ravant. See: man ravant-desktop
)";

StartAnswer wrong(const QString& words) {
  return {fmt::format("ravant-desktop: {}\nSee: ravant-desktop --help\n", words.toStdString()), kWrongCommandLine};
}

}  // namespace

std::variant<StartOptions, StartAnswer> startOptions(const QStringList& words, std::string_view version) {
  const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")});
  const QCommandLineOption shownVersion(QStringLiteral("version"));
  const QCommandLineOption dataFolder(QStringLiteral("data-dir"), {}, QStringLiteral("DIR"));
  const QCommandLineOption project(QStringLiteral("project"), {}, QStringLiteral("PATH"));
  const QCommandLineOption conversation(QStringLiteral("conversation"), {}, QStringLiteral("CONV"));
  const QCommandLineOption newConversation(QStringLiteral("new-conversation"));
  const QCommandLineOption activated(QStringLiteral("activated"));
  // Read by Qt itself.
  const QCommandLineOption session(QStringLiteral("session"), {}, QStringLiteral("ID"));
  const QCommandLineOption platform(QStringLiteral("platform"), {}, QStringLiteral("NAME"));

  QCommandLineParser parser;
  parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
  parser.addOptions(
      {help, shownVersion, dataFolder, project, conversation, newConversation, activated, session, platform});
  if (!parser.parse(QStringList(QStringLiteral("ravant-desktop")) + words)) return wrong(parser.errorText());
  if (parser.isSet(help)) return StartAnswer{std::string(kHelp), EXIT_SUCCESS};
  if (parser.isSet(shownVersion)) return StartAnswer{fmt::format("ravant-desktop {}\n", version), EXIT_SUCCESS};
  if (!parser.positionalArguments().isEmpty()) {
    return wrong(QStringLiteral("\"%1\" is no option").arg(parser.positionalArguments().first()));
  }
  if (parser.isSet(project) + parser.isSet(conversation) + parser.isSet(newConversation) > 1) {
    return wrong(QStringLiteral("--project, --conversation and --new-conversation exclude each other"));
  }
  StartOptions options;
  options.isActivated = parser.isSet(activated);
  if (parser.isSet(dataFolder)) options.dataFolder = parser.value(dataFolder).toStdString();
  if (parser.isSet(project)) {
    std::error_code fault;
    options.request.project = std::filesystem::absolute(parser.value(project).toStdString(), fault);
    if (fault) {
      return wrong(
          QStringLiteral("--project \"%1\": %2").arg(parser.value(project), QString::fromStdString(fault.message())));
    }
  }
  if (parser.isSet(conversation)) options.request.conversation = parser.value(conversation).toStdString();
  if (parser.isSet(newConversation)) options.request.page = OpenRequest::Page::newConversation;
  for (const char* variable : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
    const char* const token = std::getenv(variable);
    if (token && options.request.activationToken.empty()) options.request.activationToken = token;
  }
  return options;
}

}  // namespace ravant::desktop
