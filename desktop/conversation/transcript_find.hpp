#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <deque>
#include <optional>
#include <stop_token>

#include "core/store/search/transcript_finder.hpp"
#include "desktop/conversation/transcript_window.hpp"
#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// The search for words in the conversation that a transcript shows, which it leads from place to place. It begins at
/// the last message that is visible and looks upwards first: what is looked for is most often what was said last.
class TranscriptFind : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(ravant::desktop::TranscriptWindow* rows READ rows WRITE setRows NOTIFY rowsChanged REQUIRED)
  /// What is searched for; empty for nothing.
  Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
  /// "2 of 5 messages, place 1 of 3", "“word” is not here."
  Q_PROPERTY(QString status READ status NOTIFY statusChanged)
  /// Whether there is nothing of what is searched for.
  Q_PROPERTY(bool isFruitless READ isFruitless NOTIFY statusChanged)
  /// Where in the conversation there is something of it: from 0, the beginning, to 1, the end.
  Q_PROPERTY(QList<double> places READ places NOTIFY placesChanged)

 public:
  explicit TranscriptFind(QObject* parent = nullptr);
  ~TranscriptFind() override { stop_.request_stop(); }

  TranscriptWindow* rows() const { return rows_; }
  void setRows(TranscriptWindow* rows);
  const QString& text() const { return text_; }
  void setText(const QString& text);
  const QString& status() const { return status_; }
  bool isFruitless() const { return isFruitless_; }
  const QList<double>& places() const { return places_; }

  /// Downwards, from the end on at the beginning.
  Q_INVOKABLE void next();
  Q_INVOKABLE void previous();
  /// Searches for nothing any more, and takes the marks of any words from the transcript.
  Q_INVOKABLE void end();

 Q_SIGNALS:
  void rowsChanged();
  void textChanged();
  void statusChanged();
  void placesChanged();

 private:
  enum class Beyond { nothing, end, beginning };
  /// What was asked, whatever is shown when it is looked for.
  struct Question {
    ConversationId conversation;
    QString text;
    std::optional<ConversationItemId> from;
    std::optional<ConversationItemId> visible;  ///< the last that is
    FindDirection direction;
  };

  void begin();
  void arrive();
  void seek(FindDirection direction);
  awaitable<void> lookOrGiveUp(Question question, Turns::Turn turn, std::stop_token stop);
  awaitable<void> look(Question question, Turns::Turn turn, std::stop_token stop);
  void tell();
  void show(const QString& status, bool isFruitless);
  void mark(QList<double> places);

  QPointer<TranscriptWindow> rows_;
  QString text_;
  QString status_;
  bool isFruitless_ = false;
  QList<double> places_;
  std::optional<ConversationItemId> at_;
  TranscriptFinder::Count count_;
  Beyond beyond_ = Beyond::nothing;
  /// Until the transcript shows the next place; steps that are asked for meanwhile follow it.
  bool isSeeking_ = false;
  std::deque<FindDirection> steps_;
  std::stop_source stop_;
  Turns turns_;
};

}  // namespace ravant::desktop
