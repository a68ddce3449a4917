#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <vector>

namespace ravant::desktop {

struct PaletteRow {
  QString id;
  QString title;
  QString markup = {};  ///< the title as HTML of our own, where parts of it stand out
  QString subtitle;
  QString icon;
  QString keys;
  QString section;

  bool operator==(const PaletteRow&) const = default;
};

/// What a popup shows below its field: rows found by a query, of which one is the current one while there are any.
class PaletteRows : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("what is found differs")
  Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
  /// A row's number; -1 where there are none.
  Q_PROPERTY(int current READ current WRITE setCurrent NOTIFY currentChanged)
  /// How the current row is read aloud.
  Q_PROPERTY(QString currentName READ currentName NOTIFY currentChanged)
  Q_PROPERTY(int count READ count NOTIFY countChanged)
  /// Those that have a title.
  Q_PROPERTY(int sectionCount READ sectionCount NOTIFY sectionCountChanged)
  /// Why there are no rows; empty where there are, or where that is not known yet.
  Q_PROPERTY(QString emptyWords READ emptyWords NOTIFY emptyWordsChanged)

 public:
  enum Role { titleRole = Qt::UserRole, markupRole, subtitleRole, iconRole, keysRole, sectionRole, nameRole };

  using QAbstractListModel::QAbstractListModel;

  /// Begins with an empty query.
  Q_INVOKABLE virtual void open() = 0;
  Q_INVOKABLE virtual void close() = 0;
  /// Does what the row is for, behind `chosen`.
  Q_INVOKABLE virtual void choose(int row) = 0;
  /// The same with the current one, as soon as the rows are those of the query.
  Q_INVOKABLE virtual void take() { choose(current_); }
  /// From the last row to the first one, and back.
  Q_INVOKABLE void step(int by);

  const QString& query() const { return query_; }
  void setQuery(const QString& query);
  int current() const { return current_; }
  virtual void setCurrent(int row);
  QString currentName() const;
  int count() const { return static_cast<int>(rows_.size()); }
  int sectionCount() const { return sectionCount_; }
  const QString& emptyWords() const { return emptyWords_; }

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 Q_SIGNALS:
  void queryChanged();
  void currentChanged();
  void countChanged();
  void sectionCountChanged();
  void emptyWordsChanged();
  void chosen();

 protected:
  virtual void look() = 0;  ///< for the query, which is another one
  /// `emptyWords` count where there are no rows.
  void show(std::vector<PaletteRow> rows, int current, const QString& emptyWords);
  const std::vector<PaletteRow>& rows() const { return rows_; }
  /// Without looking.
  void clearQuery();

 private:
  void announce(std::vector<PaletteRow> rows);

  QString query_;
  QString emptyWords_;
  std::vector<PaletteRow> rows_;
  int sectionCount_ = 0;
  int current_ = -1;
};

}  // namespace ravant::desktop
