#include "desktop/start/running_instance.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "RunningInstance");

constexpr auto kLockFile = "desktop.lock";
constexpr auto kSocket = "desktop.socket";
constexpr std::string_view kDone = "done\n";
constexpr timeval kPatience{.tv_sec = 5, .tv_usec = 0};
constexpr qint64 kLargestRequest = 64 * 1024;

UniqueFd opened(const std::filesystem::path& path, int flags) {
  UniqueFd file(::open(path.c_str(), flags | O_CLOEXEC, 0600));
  if (!file) throw std::system_error(errno, std::generic_category(), path.string());
  return file;
}

/// By the opened folder: a socket's path has to be short, and a data folder's can be long.
std::string socketIn(const UniqueFd& folder) { return fmt::format("/proc/self/fd/{}/{}", folder.get(), kSocket); }

QByteArray encoded(const OpenRequest& request) {
  QJsonObject object{{QStringLiteral("token"), QString::fromStdString(request.activationToken)},
                     {QStringLiteral("new"), request.page == OpenRequest::Page::newConversation}};
  if (request.project) object[QStringLiteral("project")] = QString::fromStdString(request.project->string());
  if (request.conversation) object[QStringLiteral("conversation")] = QString::fromStdString(*request.conversation);
  return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

OpenRequest decoded(const QByteArray& line) {
  const QJsonObject object = QJsonDocument::fromJson(line).object();
  const auto text = [&](QLatin1String key) { return object[key].toString().toStdString(); };
  OpenRequest request;
  if (object.contains(QLatin1String("project"))) request.project = text(QLatin1String("project"));
  if (object.contains(QLatin1String("conversation"))) request.conversation = text(QLatin1String("conversation"));
  if (object[QLatin1String("new")].toBool()) request.page = OpenRequest::Page::newConversation;
  request.activationToken = text(QLatin1String("token"));
  return request;
}

}  // namespace

std::optional<InstanceLock> InstanceLock::tryTake(const std::filesystem::path& dataFolder) {
  UniqueFd file = opened(dataFolder / kLockFile, O_RDWR | O_CREAT);
  if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0) return InstanceLock(std::move(file));
  if (errno == EWOULDBLOCK) return std::nullopt;
  throw std::system_error(errno, std::generic_category(), (dataFolder / kLockFile).string());
}

bool handOver(const std::filesystem::path& dataFolder, const OpenRequest& request) {
  const UniqueFd folder = opened(dataFolder, O_RDONLY | O_DIRECTORY);
  const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket) return false;
  for (const int option : {SO_SNDTIMEO, SO_RCVTIMEO}) {
    ::setsockopt(socket.get(), SOL_SOCKET, option, &kPatience, sizeof kPatience);
  }
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  socketIn(folder).copy(address.sun_path, sizeof address.sun_path - 1);
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return false;
  const QByteArray words = encoded(request);
  if (::send(socket.get(), words.data(), static_cast<std::size_t>(words.size()), MSG_NOSIGNAL) != words.size())
    return false;
  std::string answer(kDone.size(), '\0');
  return ::recv(socket.get(), answer.data(), answer.size(), MSG_WAITALL) == static_cast<ssize_t>(answer.size()) &&
         answer == kDone;
}

InstanceListener::InstanceListener(const std::filesystem::path& dataFolder)
    : folder_(opened(dataFolder, O_RDONLY | O_DIRECTORY)) {
  const QString name = QString::fromStdString(socketIn(folder_));
  QLocalServer::removeServer(name);
  server_.setSocketOptions(QLocalServer::UserAccessOption);
  connect(&server_, &QLocalServer::newConnection, this, &InstanceListener::accept);
  if (!server_.listen(name)) kLog.warning("later starts cannot be heard: {}", server_.errorString().toStdString());
}

InstanceListener::~InstanceListener() = default;

void InstanceListener::accept() {
  while (QLocalSocket* const caller = server_.nextPendingConnection()) {
    connect(caller, &QLocalSocket::disconnected, caller, &QObject::deleteLater);
    connect(caller, &QLocalSocket::readyRead, this, [this, caller] { read(caller); });
    read(caller);
  }
}

void InstanceListener::read(QLocalSocket* caller) {
  if (caller->bytesAvailable() > kLargestRequest) return caller->abort();
  if (!caller->canReadLine()) return;
  const OpenRequest request = decoded(caller->readLine());
  caller->write(kDone.data(), static_cast<qint64>(kDone.size()));
  caller->disconnectFromServer();
  Q_EMIT requested(request);
}

}  // namespace ravant::desktop
