#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QTimer>
#include <functional>
#include <list>

namespace ravant::desktop {

/// What the window says for a while at its lower edge: that something was done, with a way back, or that it failed.
class Notices : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the window")

 public:
  enum Role { idRole = Qt::UserRole, textRole, isErrorRole, canUndoRole };

  using QAbstractListModel::QAbstractListModel;

  /// Stays for eight seconds. With `undo` it has a button; `settle` is called once the way back is over, also at the
  /// end of the program.
  void tell(const QString& text, std::function<void()> undo = {}, std::function<void()> settle = {});
  /// Stays until it is dismissed; one that is shown already is not shown twice.
  void tellError(const QString& text);
  /// Settles all of them.
  void settleAll();

  Q_INVOKABLE void undo(int id);
  Q_INVOKABLE void dismiss(int id);

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 private:
  struct Notice {
    int id;
    QString text;
    bool isError;
    std::function<void()> undo;
    std::function<void()> settle;
  };

  void add(Notice notice);
  Notice take(std::vector<Notice>::iterator notice);
  std::vector<Notice>::iterator find(int id);

  int lastId_ = 0;
  std::vector<Notice> notices_;
};

}  // namespace ravant::desktop
