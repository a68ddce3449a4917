#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

namespace ravant::desktop {

/// What the window says for a while at its lower edge: that something was done, with a way back, or that it failed.
class Notices : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the window")
  /// While the user is at one of them, none goes by itself.
  Q_PROPERTY(bool held READ isHeld WRITE setHeld NOTIFY heldChanged)

 public:
  enum Role { idRole = Qt::UserRole, textRole, isErrorRole, offerRole };

  using QAbstractListModel::QAbstractListModel;

  /// A button, and what it does.
  struct Offer {
    QString words;
    std::function<void()> act;
  };

  /// Stays for eight seconds, which begin anew where it was held. With `undo` it has a button; `settle` is called once
  /// the way back is over, also at the end of the program. Without either, what is shown already is not shown twice.
  /// Returns its id.
  int tell(const QString& text, std::function<void()> undo = {}, std::function<void()> settle = {});
  /// Stays until it is dismissed or its offer is taken; one that is shown already is not shown twice.
  void tellError(const QString& text, Offer offer = {});
  /// What was told is not so any more.
  void withdrawError(const QString& text);
  /// Settles all of them.
  void settleAll();

  bool isHeld() const { return isHeld_; }
  void setHeld(bool held);

  /// Does what its button says.
  Q_INVOKABLE void accept(int id);
  /// The latest that can be undone; false where there is none.
  Q_INVOKABLE bool undoLatest();
  Q_INVOKABLE void dismiss(int id);
  /// The latest one that tells of a failure; false where there is none.
  Q_INVOKABLE bool dismissError();

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 Q_SIGNALS:
  void heldChanged();

 private:
  struct Notice {
    int id;
    QString text;
    bool isError;
    bool canUndo;
    Offer offer;
    std::function<void()> settle;
    std::unique_ptr<QTimer> time = {};  ///< null for one that stays
  };

  void add(Notice notice);
  Notice take(std::vector<Notice>::iterator notice);
  std::vector<Notice>::iterator find(int id);

  int lastId_ = 0;
  bool isHeld_ = false;
  std::vector<Notice> notices_;
};

}  // namespace ravant::desktop
