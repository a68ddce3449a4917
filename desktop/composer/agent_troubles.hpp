#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QUrl>
#include <optional>
#include <vector>

#include "agent/ravant_provider.hpp"
#include "desktop/composer/prompt_options.hpp"
#include "desktop/loop/rereading.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// What keeps the next prompt of the composer from working, row by row, and what to do about it: of the agent that
/// would work and of the project's folder; for a new conversation that no agent could begin, of all agents.
class AgentTroubles : public QAbstractListModel, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the composer")
  Q_PROPERTY(int count READ count NOTIFY changed)
  /// The agents that could begin a new conversation, in a sentence; empty elsewhere.
  Q_PROPERTY(QString readyAgents READ readyAgents NOTIFY changed)
  Q_PROPERTY(bool isScanning READ isScanning NOTIFY changed)

 public:
  /// `Scan`: agents are to be looked for; `Path`: the agent's program is to be found; `Add`: the agent is to be
  /// registered, with its program; `Key`: a provider's key is to be entered; `Unlock`: the key
  /// store is to be asked again; `KeyFile`: keys are to be kept in a file; `Restart`: that they are begins with the
  /// next start; `Folder`: the project's folder is to be found; `Anew`: only another conversation can go on.
  enum class Remedy { Scan, Path, Add, Key, Unlock, KeyFile, Restart, Enable, Model, Folder, Anew };
  Q_ENUM(Remedy)
  enum Role { WordsRole = Qt::UserRole, RemedyRole, OfferRole, PathRole, ProvidersRole };

  /// What the prompt would be sent to.
  struct Subject {
    ProjectId project;
    std::string projectName = {};
    std::string folder = {};  ///< empty where there is no project yet
    bool isNew = true;
    std::optional<AgentType> foreignAgent = {};
    std::vector<Agent> agents = {};
    std::optional<Agent> agent = {};
    PromptObstacle obstacle = PromptObstacle::none;

    bool operator==(const Subject&) const = default;
  };

  AgentTroubles();

  /// Nothing while it is not known what is shown.
  void follow(std::optional<Subject> subject);
  /// Looks again.
  void refresh() { rereading_.now(); }

  int count() const { return static_cast<int>(troubles_.size()); }
  const QString& readyAgents() const { return readyAgents_; }
  bool isScanning() const { return isScanning_; }

  /// What the row offers, where that needs no more than a press.
  Q_INVOKABLE void mend(int row);
  /// Looks for the agents of this machine again.
  Q_INVOKABLE void scan();
  /// Where the program of the row's agent is; registers an agent that is not.
  Q_INVOKABLE void setPath(int row, const QString& path);
  /// Stores the key of one of the row's providers.
  Q_INVOKABLE void enterKey(int provider, const QString& key);
  /// Where the project's folder is.
  Q_INVOKABLE void setFolder(const QUrl& folder);

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 Q_SIGNALS:
  void changed();
  /// A model is to be chosen in its picker.
  void modelWanted();
  /// The project's folder is to be chosen.
  void folderWanted();

 private:
  struct Trouble {
    Remedy remedy;
    QString words;
    std::optional<AgentId> agent = {};
    QString path = {};

    bool operator==(const Trouble&) const = default;
  };

  awaitable<void> read();
  awaitable<std::optional<Trouble>> troubleOfFolder(Subject subject);
  awaitable<std::vector<Trouble>> troublesOfAgents(std::vector<Agent> agents);
  awaitable<std::optional<Trouble>> troubleOfKey(Agent agent);
  static std::optional<Trouble> troubleOfObstacle(const Subject& subject);
  void show(std::vector<Trouble> troubles, QString readyAgents);
  awaitable<void> scanOnce();
  awaitable<void> storePath(AgentId agent, std::string path);
  awaitable<void> addAgent(AgentType type, std::string path);
  awaitable<void> enable(AgentId agent);
  awaitable<void> storeKey(RavantProvider provider, std::string key);
  awaitable<void> keepKeysInFile();
  awaitable<void> storeFolder(ProjectId project, std::string folder);

  DesktopWindow& window_;
  std::optional<Subject> subject_;
  std::vector<Trouble> troubles_;
  std::optional<Trouble> locked_;  ///< the key store, until it is to be asked again: each time may ask the user
  QString readyAgents_;
  bool isScanning_ = false;
  Rereading rereading_{*this, [this] { return read(); }};
};

}  // namespace ravant::desktop
