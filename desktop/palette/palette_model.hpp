#pragma once

#include "desktop/loop/view_model.hpp"
#include "desktop/palette/palette_rows.hpp"
#include "desktop/program/desktop_window.hpp"
#include "palette/command_palette_model.hpp"

namespace ravant::desktop {

/// What there is to go to or to run in this window. Entries for which the window has no page are left out. Behind what
/// was found, the last row leads on to a search for the query.
class PaletteModel : public PaletteRows, public ViewModel, private CommandPaletteModel::Observer {
  Q_OBJECT
  QML_ELEMENT

 public:
  explicit PaletteModel(QObject* parent = nullptr) : PaletteModel(DesktopWindow::instance(), parent) {}
  PaletteModel(DesktopWindow& window, QObject* parent);
  ~PaletteModel() override;

  void open() override;
  void close() override;
  void choose(int row) override;
  void take() override;
  void setCurrent(int row) override;
  /// The settings' file, in the user's editor.
  Q_INVOKABLE void openSettings();

 private:
  void look() override;
  void paletteChanged() override;
  awaitable<void> read(Turns::Turn turn);
  void showRead(Turns::Turn turn);
  awaitable<void> execute(CommandPaletteItem item);

  DesktopWindow& window_;
  std::shared_ptr<CommandPaletteModel> palette_;
  Turns turns_;
  bool isRead_ = false;   ///< whether the rows are all there are
  bool isTaken_ = false;  ///< the current row, as soon as they are
  int foundCount_ = 0;
  /// Whether the row behind those that were found is the current one.
  bool isSearchCurrent_ = false;
};

}  // namespace ravant::desktop
