#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "desktop/composer/agent_troubles.hpp"
#include "desktop/loop/rereading.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// Whether there is a project to work in, and where there is none, with which agents it could be begun.
class ProjectPresence : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  /// Unknown at first: then neither holds.
  Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY changed)
  Q_PROPERTY(bool hasProjects READ hasProjects NOTIFY changed)
  /// In a sentence; empty where there are projects.
  Q_PROPERTY(QString readyAgents READ readyAgents NOTIFY changed)

 public:
  explicit ProjectPresence(QObject* parent = nullptr) : ProjectPresence(DesktopWindow::instance(), parent) {}
  ProjectPresence(DesktopWindow& window, QObject* parent);

  bool isEmpty() const { return isKnown_ && !hasProjects_; }
  bool hasProjects() const { return hasProjects_; }
  const QString& readyAgents() const { return agents_.readyAgents(); }

 Q_SIGNALS:
  void changed();

 private:
  awaitable<void> read();

  DesktopWindow& window_;
  Rereading rereading_{*this, [this] { return read(); }};
  AgentTroubles agents_;
  bool isKnown_ = false;
  bool hasProjects_ = false;
};

}  // namespace ravant::desktop
