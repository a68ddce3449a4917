#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <vector>

namespace ravant::desktop {

/// What can be chosen in a picker, as far as it fits what is typed in its field.
class ChoiceList : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the composer")
  Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
  /// The row of what is chosen, else the first one.
  Q_PROPERTY(int chosenRow READ chosenRow NOTIFY filterChanged)

 public:
  enum Role { ValueRole = Qt::UserRole, NameRole, DetailRole, SectionRole, IsChosenRole };

  struct Choice {
    QString value;
    QString name;
    QString detail = {};
    QString section = {};
    /// Of what comes with the choice.
    QString owner = {};

    bool operator==(const Choice&) const = default;
  };

  using QAbstractListModel::QAbstractListModel;

  /// With `takesAny`, a text that no choice is called by can be chosen as it is.
  void replace(std::vector<Choice> choices, const QString& chosen, bool takesAny);
  /// Null for a row that is not there.
  const Choice* at(int row) const;

  const QString& filter() const { return filter_; }
  void setFilter(const QString& filter);
  int chosenRow() const;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 Q_SIGNALS:
  void filterChanged();

 private:
  void refill();
  bool fits(const Choice& choice) const;

  std::vector<Choice> all_;
  std::vector<Choice> shown_;
  QString chosen_;
  QString filter_;
  bool takesAny_ = false;
};

}  // namespace ravant::desktop
