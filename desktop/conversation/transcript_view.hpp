#pragma once

#include <QtQml/qqmlregistration.h>
#include <QQuickItem>
#include <optional>
#include <vector>

#include "desktop/conversation/transcript_window.hpp"

namespace ravant::desktop {

/// Where the list of a transcript stands among its rows: at the end, along with which it goes, or where the reader
/// went.
///
/// What depends on rows that are laid out is done when the events that are under way are over, once for all of them.
class TranscriptView : public QObject {
  Q_OBJECT
  QML_ELEMENT
  /// A `ListView` of the rows.
  Q_PROPERTY(QQuickItem* list READ list WRITE setList NOTIFY listChanged REQUIRED)
  Q_PROPERTY(ravant::desktop::TranscriptWindow* rows READ rows WRITE setRows NOTIFY rowsChanged REQUIRED)
  /// Whether it goes along with the end.
  Q_PROPERTY(bool follows READ follows WRITE setFollows NOTIFY followsChanged)
  /// From other rows to the place in them that is gone to: while there is no room, no row that stands elsewhere is
  /// made.
  Q_PROPERTY(bool isReplacing READ isReplacing NOTIFY isReplacingChanged)

 public:
  using QObject::QObject;

  QQuickItem* list() const { return list_; }
  void setList(QQuickItem* list);
  TranscriptWindow* rows() const { return rows_; }
  void setRows(TranscriptWindow* rows);
  bool follows() const { return follows_; }
  void setFollows(bool follows);
  bool isReplacing() const { return isReplacing_; }

  /// The row where the walk by keys stands, else the one in the middle.
  Q_INVOKABLE int currentRow() const;
  /// Where the row, or its item in what is visible, stands below the upper edge.
  Q_INVOKABLE double menuPlace(int row) const;
  Q_INVOKABLE void toEnd();
  /// What was at a place stays there, unless what is opened would be out of sight.
  Q_INVOKABLE void fold(int row, bool isOpen);
  Q_INVOKABLE void showMore(int row);
  /// The walk by keys stands at the row.
  Q_INVOKABLE void point(int row);
  Q_INVOKABLE void takeKeyboard();
  /// To the next stop; where `selects` holds, what lies between is selected.
  Q_INVOKABLE void step(int direction, bool selects);
  Q_INVOKABLE void page(int direction);
  Q_INVOKABLE void scrollSideways(int direction);
  /// Whether the key moves through the transcript.
  Q_INVOKABLE bool press(int key);
  /// To a row whose place something else shows.
  Q_INVOKABLE void leaveEnd(int row);

 Q_SIGNALS:
  void listChanged();
  void rowsChanged();
  void followsChanged();
  void isReplacingChanged();

 private Q_SLOTS:
  void listMoved();
  void listResized();
  void lookForEnd();

 private:
  using Step = void (TranscriptView::*)();

  double number(const char* property) const { return list_->property(property).toDouble(); }
  int count() const { return list_->property("count").toInt(); }
  int currentIndex() const { return list_->property("currentIndex").toInt(); }
  void setCurrentIndex(int index) { list_->setProperty("currentIndex", index); }
  double lowest() const { return number("originY") + number("contentHeight") - list_->height(); }
  void scrollTo(double y);
  int rowAt(double y) const;
  QQuickItem* itemOf(int row) const;
  enum class Position { beginning, center, end, visible, contain };  // as ListView has them
  void position(int row, Position where);
  void positionAtEnd();

  void setReplacing(bool isReplacing);
  void enter(int row);
  void arrive(int row);
  /// To where the reader left: so much of the row is above the upper edge.
  void comeBack(int row, double above);
  void settle() { setReplacing(false); }
  /// Brings as much of what was opened into view as there is room for beneath its head.
  void showOpened();
  void keepEnd();
  void look();
  void later(Step step);
  void doLater();

  QQuickItem* list_ = nullptr;
  TranscriptWindow* rows_ = nullptr;
  bool follows_ = true;
  bool isReplacing_ = false;
  struct Opened {
    int row;
    int count;      ///< of all rows before
    double height;  ///< of its own before
  };
  std::optional<Opened> opened_;  ///< until it has what it holds, which may have to be read
  std::vector<Step> later_;
};

}  // namespace ravant::desktop
