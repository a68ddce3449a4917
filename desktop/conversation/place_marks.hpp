#pragma once

#include <QtQml/qqmlregistration.h>
#include <QList>
#include <QQuickItem>
#include <QTimer>
#include <optional>
#include <vector>

#include "core/store/transcript_reader.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// What is marked beside a whole conversation: its prompts, its failures, and what was found in it. Follows the store,
/// of which only what comes is read again.
class PlaceMarks : public QQuickItem, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  /// Empty for none.
  Q_PROPERTY(QString conversation READ conversation WRITE setConversation NOTIFY conversationChanged)
  /// Of what was found: from 0, the beginning, to 1, the end.
  Q_PROPERTY(QList<double> findPlaces READ findPlaces WRITE setFindPlaces NOTIFY findPlacesChanged)

 public:
  enum class Kind : std::uint8_t { none, prompt, found, interrupted, failure };

  explicit PlaceMarks(QQuickItem* parent = nullptr);

  QString conversation() const { return conversation_ ? textOf(*conversation_) : QString(); }
  void setConversation(const QString& conversation);
  const QList<double>& findPlaces() const { return findPlaces_; }
  void setFindPlaces(const QList<double>& places);

  const TranscriptMarks& marks() const { return marks_; }
  /// From the top to the bottom, for each mark's height what stands there: of several the one that is told last in
  /// `Kind`.
  std::vector<Kind> lines(int height) const;

 Q_SIGNALS:
  void conversationChanged();
  void findPlacesChanged();

 protected:
  QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;
  void geometryChange(const QRectF& geometry, const QRectF& old) override;

 private:
  enum class Missing : std::uint8_t { nothing, end, all };

  void readSoon(Missing missing);
  awaitable<void> read(ConversationId conversation, Turns::Turn turn);
  void add(TranscriptMarks read, Missing missing);

  std::optional<ConversationId> conversation_;
  TranscriptMarks marks_;
  QList<double> findPlaces_;
  Missing missing_ = Missing::nothing;
  bool isReading_ = false;
  QTimer soon_;
  Turns turns_;
};

}  // namespace ravant::desktop
