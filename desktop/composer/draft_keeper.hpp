#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "desktop/composer/prompt_sender.hpp"
#include "desktop/loop/rereading.hpp"
#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// The text of a composer in the store: read when its place is shown or another program changes it, written while it is
/// typed. What was typed here is never replaced by what comes from elsewhere, and what stood there is never overwritten
/// unread. A reading or writing that fails is tried again for as long as something typed is not kept. On the interface
/// thread.
class DraftKeeper final : public QObject, public ViewModel {
  Q_OBJECT

 public:
  DraftKeeper(std::shared_ptr<PromptSender> sender, StoreChanges& changes);
  ~DraftKeeper() override;

  /// Writes what is left of the place before, and reads this one.
  void open(std::optional<DraftPlace> place);
  /// The text that stands there; written soon.
  void typed(std::string text);
  /// The text is on its way: the field is empty, and the draft stays with the sender.
  void handOver();
  void writeNow();

 Q_SIGNALS:
  /// In place of what the composer shows.
  void arrived(const QString& text);

 private:
  awaitable<void> readUntilCurrent();
  awaitable<void> read();
  void refresh();
  void writeSoon();
  void isWritten(const DraftPlace& place);
  void writeFailed(const DraftPlace& place, bool wasRead);
  static awaitable<void> write(std::shared_ptr<PromptSender> sender, DraftPlace place, std::string text, bool isRead,
                               QPointer<DraftKeeper> self);

  std::shared_ptr<PromptSender> sender_;
  std::optional<DraftPlace> place_;
  std::string text_;
  bool isRead_ = false;
  bool isTouched_ = false;           ///< since it was read or written
  std::vector<DraftPlace> written_;  ///< to these something is on its way
  QTimer delay_;
  Turns turns_;
  Rereading rereading_;
};

}  // namespace ravant::desktop
