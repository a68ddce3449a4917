#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QStringList>
#include <QTimer>
#include <QUrl>
#include <memory>
#include <optional>
#include <vector>

namespace ravant::desktop {

/// What is in a folder of this machine, for somebody who looks for a folder or for files in it by typing their path:
/// the rows are what may follow. Folders are read beside the interface.
class FolderEntries : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(Wanted wanted MEMBER wanted_ NOTIFY wantedChanged)
  /// What was typed: a folder, and behind its last slash the beginning of a name in it.
  Q_PROPERTY(QString path READ path WRITE setPath NOTIFY pathChanged)
  /// The row that Enter takes; -1 where there is none.
  Q_PROPERTY(int current READ current WRITE setCurrent NOTIFY currentChanged)
  Q_PROPERTY(QString currentName READ currentName NOTIFY currentChanged)
  Q_PROPERTY(bool canChoose READ canChoose NOTIFY currentChanged)
  Q_PROPERTY(int pickedCount READ pickedCount NOTIFY pickedChanged)
  /// Why there are no rows; empty where there are, or where that is not known yet.
  Q_PROPERTY(QString emptyWords READ emptyWords NOTIFY emptyWordsChanged)

 public:
  enum Wanted { Folders, Files, Programs };
  Q_ENUM(Wanted)
  enum Role { nameRole = Qt::UserRole, iconRole, isPickedRole };

  explicit FolderEntries(QObject* parent = nullptr);
  ~FolderEntries() override;

  /// Begins in a folder, as it is by then: where it is none of this machine, at home. Nothing is picked.
  Q_INVOKABLE void begin(const QUrl& folder);
  /// Goes into a folder, or chooses: a file, or the folder that is shown. While the folder is being read, that waits.
  Q_INVOKABLE void take();
  Q_INVOKABLE void takeRow(int row);
  /// Chooses the folder of the current row, or picks its file for later or takes it back.
  Q_INVOKABLE void choose();
  /// Chooses the files that were picked.
  Q_INVOKABLE void choosePicked();
  Q_INVOKABLE void goUp();
  /// From the last row to the first one, and back.
  Q_INVOKABLE void step(int by);

  const QString& path() const { return path_; }
  void setPath(const QString& path);
  int current() const { return current_; }
  void setCurrent(int row);
  QString currentName() const;
  bool canChoose() const;
  int pickedCount() const { return static_cast<int>(picked_.size()); }
  const QString& emptyWords() const { return emptyWords_; }

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 Q_SIGNALS:
  void wantedChanged();
  void pathChanged();
  void currentChanged();
  void pickedChanged();
  void emptyWordsChanged();
  void chosen(const QList<QUrl>& files);

 private:
  enum class Kind { shownFolder, folder, file };
  struct Entry {
    QString name;
    Kind kind;
  };
  struct Reading {
    std::vector<Entry> entries;
    QString trouble;
  };

  struct Readings;

  static Reading readFolder(const QString& folder, Wanted wanted);
  QString absolute(const QString& text) const;
  void goTo(const QString& folder);
  void show(const QString& whole);
  void read();
  void takeAnswer(Reading reading);
  void explain(const QString& words);
  void narrow(const QString& wantedName);
  QString pathOf(const Entry& entry) const;
  const Entry* entryAt(int row) const;

  Wanted wanted_ = Folders;
  QString path_;
  QString folder_;               ///< that is read or shown
  QString beginning_;            ///< behind the last slash
  std::optional<Reading> read_;  ///< nothing while the folder is being read
  bool isBeingRead_ = false;
  std::shared_ptr<Readings> readings_;
  int latest_ = 0;        ///< whose answer counts
  QTimer patience_;       ///< with the latest
  bool isTaken_ = false;  ///< as soon as the folder is read
  QString cameFrom_;      ///< the row of which is the current one then
  std::vector<Entry> rows_;
  QStringList picked_;
  QString emptyWords_;
  int current_ = -1;
};

}  // namespace ravant::desktop
