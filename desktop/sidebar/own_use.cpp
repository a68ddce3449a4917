#include "desktop/sidebar/own_use.hpp"

#include <unistd.h>

#include <QLocale>
#include <fstream>

#include "platform/async/on_pool.hpp"

namespace ravant::desktop {
namespace {

constexpr std::chrono::seconds kRest(5);

QString sizeWords(std::int64_t bytes) { return QLocale().formattedDataSize(bytes, 0, QLocale::DataSizeSIFormat); }

std::int64_t memoryInUse() {
  std::int64_t pages = 0;
  std::int64_t resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

std::int64_t sizeOfFiles(const std::filesystem::path& folder) {
  std::int64_t bytes = 0;
  std::error_code fault;
  for (std::filesystem::recursive_directory_iterator each(folder, fault), end; !fault && each != end;
       each.increment(fault)) {
    std::error_code gone;
    if (each->is_regular_file(gone) && !each->is_symlink(gone)) {
      const auto size = each->file_size(gone);
      if (!gone) bytes += static_cast<std::int64_t>(size);
    }
  }
  return bytes;
}

}  // namespace

OwnUse::OwnUse(DesktopWindow& window, QObject* parent)
    : QObject(parent), window_(window), rereading_(*this, [this] { return read(); }, kRest) {
  connect(&window.changes(), &StoreChanges::committed, this, [this] { rereading_.soon(); });
  connect(&window, &DesktopWindow::activeChanged, this, [this] {
    if (window_.isActive()) rereading_.now();
  });
  rereading_.now();
}

OwnUse::Use OwnUse::useWith(const std::filesystem::path& dataFolder) {
  return {.memory = memoryInUse(), .files = sizeOfFiles(dataFolder)};
}

awaitable<void> OwnUse::read() {
  Application& application = window_.application();
  const auto look = [folder = application.locations().dataFolder] { return useWith(folder); };
  const Use use = co_await alive(onPool(application.modelContainer()->work(), look));
  const QString words = tr("%1 memory · %2 stored").arg(sizeWords(use.memory), sizeWords(use.files));
  if (std::exchange(words_, words) == words) co_return;
  memoryWords_ = tr("%1 memory").arg(sizeWords(use.memory));
  spoken_ = tr("Ravant uses %1 of memory, %2 are stored").arg(sizeWords(use.memory), sizeWords(use.files));
  Q_EMIT changed();
}

}  // namespace ravant::desktop
