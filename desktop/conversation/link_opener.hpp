#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// What is shown of a link's target before it is followed; empty where it may not be.
QString targetOfLink(const QString& href);

/// Opens what links of a transcript lead to: addresses outside, files in the project of the conversation only.
class LinkOpener : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QString conversation MEMBER conversation_ NOTIFY conversationChanged)

 public:
  explicit LinkOpener(QObject* parent = nullptr) : QObject(parent) {}

  Q_INVOKABLE void open(const QString& href);

 Q_SIGNALS:
  void conversationChanged();

 private:
  awaitable<void> openFile(std::string href);

  QString conversation_;
};

}  // namespace ravant::desktop
