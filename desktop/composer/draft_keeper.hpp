#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "desktop/composer/prompt_sender.hpp"
#include "desktop/loop/rereading.hpp"
#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// The text of a composer in the store: read when its place is shown or another program changes it, written while it is
/// typed. What was typed here is never replaced by what comes from elsewhere, and what stood there is never overwritten
/// unread. A reading or writing that fails is tried again for as long as something typed is not kept. A long text is
/// written less often. On the interface thread.
class DraftKeeper final : public QObject, public ViewModel {
  Q_OBJECT

 public:
  /// `text` tells what the composer holds; whoever shows the composer writes before that is gone.
  DraftKeeper(std::shared_ptr<PromptSender> sender, StoreChanges& changes, std::function<std::string()> text);

  /// Writes what is left of the place before, and reads this one.
  void open(std::optional<DraftPlace> place);
  /// The composer holds another text; written soon.
  void typed();
  /// The text is on its way: the field is about to be empty, and the draft stays with the sender.
  void handOver();
  /// What was typed since then stands elsewhere from here on, and the field is empty.
  void moveAway();
  void writeNow();

 Q_SIGNALS:
  /// In place of what the composer shows.
  void arrived(const std::string& text);

 private:
  /// What stood in a place before something was typed there, once a writing has found it.
  struct Before {
    std::optional<std::string> text;
  };

  awaitable<void> read();
  awaitable<void> readOrTryAgain();
  void writeSoon();
  /// What stood there stands in front of what was typed meanwhile.
  void putInFront(const std::string& before);
  void isWritten(const DraftPlace& place, const std::shared_ptr<Before>& before, const std::string& front);
  /// What was typed in a place, to be stored.
  struct Writing {
    DraftPlace place;
    std::string text;
    std::shared_ptr<Before> before;  ///< nothing where the place was read
    int opening = 0;                 ///< in which it was typed
  };
  void begin(Writing writing);
  void writeFailed(Writing writing);
  /// Whether nobody was told yet that nothing can be read or written; from here on somebody is.
  bool isNews(const std::exception& fault) { return std::exchange(faultTold_, fault.what()).empty(); }
  /// What was told is over.
  void withdrawFault();
  static awaitable<void> write(std::shared_ptr<PromptSender> sender, Writing writing, QPointer<DraftKeeper> self);

  std::shared_ptr<PromptSender> sender_;
  std::function<std::string()> text_;
  std::optional<DraftPlace> place_;
  int opening_ = 0;                   ///< counts them
  std::shared_ptr<Before> before_;    ///< nothing once the place was read
  std::optional<std::string> shown_;  ///< what was read last, where nothing was typed since
  bool isTouched_ = false;            ///< since it was read or written
  bool hasWritten_ = false;           ///< since the place was opened or the text was handed over
  std::string faultTold_;             ///< empty where something was written since
  std::vector<DraftPlace> written_;   ///< to these something is on its way
  std::chrono::milliseconds pace_{};  ///< from a letter to its writing
  QTimer delay_;
  Turns turns_;
  Rereading rereading_;
};

}  // namespace ravant::desktop
