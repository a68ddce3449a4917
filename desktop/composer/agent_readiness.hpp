#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QStringList>
#include <vector>

#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// What the page of a new conversation says: the project, the agents that could begin, and, row by row, what keeps
/// others from it and what to do.
class AgentReadiness : public QAbstractListModel, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QString projectName READ projectName NOTIFY changed)
  Q_PROPERTY(QString projectPath READ projectPath NOTIFY changed)
  /// The agents that could begin, in a sentence.
  Q_PROPERTY(QString agents READ agents NOTIFY changed)
  Q_PROPERTY(bool isScanning READ isScanning NOTIFY changed)

 public:
  /// `Path`: its program is to be found; `Key`: a provider's key is to be entered; `None`: there is no agent.
  enum class Remedy { None, Path, Key };
  Q_ENUM(Remedy)
  enum Role { WordsRole = Qt::UserRole, RemedyRole, PathRole, ProvidersRole };

  explicit AgentReadiness(QObject* parent = nullptr);

  QString projectName() const { return QString::fromStdString(project_.name); }
  QString projectPath() const { return QString::fromStdString(project_.path); }
  const QString& agents() const { return agents_; }
  bool isScanning() const { return isScanning_; }

  /// Looks for the agents of this machine again.
  Q_INVOKABLE void scan();
  /// Where the program of the row's agent is.
  Q_INVOKABLE void setPath(int row, const QString& path);
  /// Stores the key of one of the row's providers.
  Q_INVOKABLE void enterKey(int provider, const QString& key);

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 Q_SIGNALS:
  void changed();

 private:
  struct Trouble {
    Remedy remedy;
    QString words;
    AgentId agent = {};
    QString path = {};

    bool operator==(const Trouble&) const = default;
  };

  void refresh();
  awaitable<void> read(ProjectId project);
  awaitable<std::vector<Trouble>> troublesOf(std::vector<Agent> enabled);
  awaitable<void> scanOnce();
  awaitable<void> storePath(AgentId agent, std::string path);
  awaitable<void> storeKey(std::string account, std::string key);

  DesktopWindow& window_;
  Project project_;
  QString agents_;
  std::vector<Trouble> troubles_;
  bool isScanning_ = false;
  Turns turns_;
};

}  // namespace ravant::desktop
