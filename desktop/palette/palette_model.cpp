#include "desktop/palette/palette_model.hpp"

#include <array>

#include "app/window_settings.hpp"
#include "desktop/program/file_opening.hpp"
#include "desktop/program/shown_keys.hpp"

namespace ravant::desktop {
namespace {

struct SymbolIcon {
  std::string_view symbol;
  QLatin1String icon;
};

constexpr std::array kIcons = {
    SymbolIcon{"bubble.left", QLatin1String("conversation")},
    SymbolIcon{"bubble.left.and.bubble.right", QLatin1String("conversation")},
    SymbolIcon{"folder", QLatin1String("plus")},
    SymbolIcon{"folder.badge.plus", QLatin1String("folder-plus")},
    SymbolIcon{"text.cursor", QLatin1String("pencil")},
    SymbolIcon{"chevron.backward", QLatin1String("chevron-left")},
    SymbolIcon{"chevron.forward", QLatin1String("chevron-right")},
    SymbolIcon{"gearshape", QLatin1String("settings")},
    SymbolIcon{"arrow.triangle.branch", QLatin1String("branch")},
    SymbolIcon{"magnifyingglass", QLatin1String("search")},
    SymbolIcon{"exclamationmark.bubble", QLatin1String("alert")},
    SymbolIcon{"stop", QLatin1String("stop")},
    SymbolIcon{"sidebar.left", QLatin1String("sidebar")},
    SymbolIcon{"pencil", QLatin1String("pencil")},
    SymbolIcon{"archivebox", QLatin1String("archive")},
    SymbolIcon{"paperclip", QLatin1String("paperclip")},
    SymbolIcon{"arrow.down", QLatin1String("arrow-down")},
    SymbolIcon{"arrow.clockwise", QLatin1String("retry")},
    SymbolIcon{"trash", QLatin1String("trash")},
    SymbolIcon{"clock", QLatin1String("clock")},
};

QString iconOf(const CommandPaletteItemImage& image) {
  const auto* const found = std::ranges::find(kIcons, std::string_view(image.name), &SymbolIcon::symbol);
  return found == kIcons.end() ? QStringLiteral("palette-command") : QString(found->icon);
}

CommandPaletteOptions optionsOf(const SettingsFile& settings) {
  CommandPaletteOptions options = paletteOptionsOf(settings, InterfaceLoop::instance().executor());
  options.left = {PaletteSection::pinned, PaletteSection::integrations, PaletteSection::linearIssues,
                  PaletteSection::pullRequests};
  return options;
}

QString subtitleOf(const CommandPaletteItem& item) {
  // As the sidebar calls it.
  if (item.id == "command.allConversations") return PaletteModel::tr("Latest conversations");
  return QString::fromStdString(item.subtitle.value_or(""));
}

PaletteRow rowOf(const CommandPaletteItem& item, const QString& section) {
  return {.id = QString::fromStdString(item.id),
          .title = QString::fromStdString(item.title),
          .subtitle = subtitleOf(item),
          .icon = iconOf(item.image),
          .keys = item.shortcutHint ? shownKeys(KeySequence::parse(*item.shortcutHint)) : QString(),
          .section = section};
}

}  // namespace

PaletteModel::PaletteModel(DesktopWindow& window, QObject* parent)
    : PaletteRows(parent),
      window_(window),
      palette_(std::make_shared<CommandPaletteModel>(optionsOf(window.application().settings()))) {
  Application& application = window.application();
  palette_->configure(window.sharedState(), application.modelContainer(), [this] { openSettings(); });
  palette_->setObserver(this);
  connect(&window.changes(), &StoreChanges::committed, this,
          [this](const ChangeBatch& batch) { palette_->take(batch); });
  connect(&window, &DesktopWindow::settingsChanged, this, [this] {
    const CommandPaletteOptions options = optionsOf(window_.application().settings());
    palette_->setKeybindings(window_.keybindings());
    palette_->setSectionSizes(options.sectionItems, options.recentItems);
  });
}

PaletteModel::~PaletteModel() {
  palette_->setObserver(nullptr);
  palette_->close();
}

void PaletteModel::openSettings() { start(alive(openSettingsFile(window_.application()))); }

void PaletteModel::open() {
  clearQuery();
  start(read(turns_.take()));
}

awaitable<void> PaletteModel::read(Turns::Turn turn) {
  try {
    co_await alive(palette_->open());
  } catch (const std::exception&) {
    showRead(turn);
    throw;
  }
  showRead(turn);
}

void PaletteModel::showRead(Turns::Turn turn) {
  if (!turns_.isLatest(turn)) return;
  isRead_ = true;
  paletteChanged();
  if (std::exchange(isTaken_, false)) choose(current());
}

void PaletteModel::close() {
  turns_.take();
  isTaken_ = false;
  palette_->close();
}

void PaletteModel::look() {
  isSearchCurrent_ = isTaken_ = false;
  palette_->setQuery(query().toStdString());
}

void PaletteModel::setCurrent(int row) {
  if (row < 0) return;
  isSearchCurrent_ = row == foundCount_;
  if (isSearchCurrent_) return paletteChanged();
  palette_->setSelectedIndex(static_cast<std::size_t>(row));
  paletteChanged();
}

void PaletteModel::take() {
  if (isRead_) {
    choose(current());
  } else {
    isTaken_ = true;
  }
}

void PaletteModel::choose(int row) {
  auto index = static_cast<std::size_t>(std::max(row, 0));
  for (const CommandPaletteSection& section : palette_->sections()) {
    if (index < section.items.size()) {
      const CommandPaletteItem item = section.items[index];
      Q_EMIT chosen();
      return start(execute(item));
    }
    index -= section.items.size();
  }
  if (foundCount_ == 0 || index > 0) return;
  Q_EMIT chosen();
  window_.searchFor(query());
}

awaitable<void> PaletteModel::execute(CommandPaletteItem item) { co_await alive(palette_->execute(std::move(item))); }

void PaletteModel::paletteChanged() {
  std::vector<PaletteRow> rows;
  for (const CommandPaletteSection& section : palette_->sections()) {
    const QString title = QString::fromStdString(section.title);
    for (const CommandPaletteItem& item : section.items) rows.push_back(rowOf(item, title));
  }
  foundCount_ = static_cast<int>(rows.size());
  if (foundCount_ > 0 && !query().trimmed().isEmpty()) {
    rows.push_back({.id = QStringLiteral("search"),
                    .title = tr("Search everything for “%1”").arg(query()),
                    .icon = QStringLiteral("search"),
                    .section = tr("Search")});
  } else {
    isSearchCurrent_ = false;
  }
  show(std::move(rows), isSearchCurrent_ ? foundCount_ : static_cast<int>(palette_->selectedIndex()),
       isRead_ ? tr("Nothing to go to or to run is called “%1”.").arg(query()) : QString());
}

}  // namespace ravant::desktop
