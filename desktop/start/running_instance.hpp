#pragma once

#include <QLocalServer>
#include <QObject>
#include <memory>

#include "desktop/program/open_request.hpp"
#include "platform/process/unique_fd.hpp"

namespace ravant::desktop {

/// That this process, and no other one, shows the data folder's store in a window. Ends with the process, however that
/// ends.
class InstanceLock {
 public:
  /// Nothing while another process holds it. Blocks. Throws `std::system_error` where the folder cannot be used.
  static std::optional<InstanceLock> tryTake(const std::filesystem::path& dataFolder);

 private:
  explicit InstanceLock(UniqueFd file) : file_(std::move(file)) {}

  UniqueFd file_;
};

/// Has the process that holds the lock do what is requested. False where none answers, which can be about to begin or
/// to end. Blocks, for some seconds at most.
bool handOver(const std::filesystem::path& dataFolder, const OpenRequest& request);

/// Takes what later starts hand over, for as long as it lives. On the interface thread, behind the lock.
class InstanceListener final : public QObject {
  Q_OBJECT

 public:
  explicit InstanceListener(const std::filesystem::path& dataFolder);
  ~InstanceListener() override;

 Q_SIGNALS:
  void requested(const ravant::desktop::OpenRequest& request);

 private:
  void accept();
  void read(QLocalSocket* caller);

  UniqueFd folder_;
  QLocalServer server_;
};

}  // namespace ravant::desktop
