#include "desktop/window/window_engine.hpp"

#include <QQuickWindow>

#include "desktop/theme/icon_provider.hpp"

namespace ravant::desktop {
namespace {

QtMessageHandler otherMessages = nullptr;

/// A list that is given other rows while it makes one in advance asks its model not to make that one, which the model
/// does not have any more, and says so (Qt 6.4). Nothing is amiss then.
void leaveOutLateRow(QtMsgType type, const QMessageLogContext& context, const QString& words) {
  if (!words.startsWith(QLatin1String("DelegateModel::cancel: index out range"))) otherMessages(type, context, words);
}

}  // namespace

WindowEngine::WindowEngine() {
  if (!otherMessages) otherMessages = qInstallMessageHandler(leaveOutLateRow);
  engine_.setNetworkAccessManagerFactory(&noNetwork_);
  engine_.addImageProvider(QStringLiteral("icon"), new IconProvider);
  engine_.addImportPath(QStringLiteral("qrc:/qt/qml"));
}

QQuickWindow* WindowEngine::load(const QString& file, const QVariantMap& properties) {
  engine_.setInitialProperties(properties);
  engine_.load(QUrl(QStringLiteral("qrc:/qt/qml/Ravant/Window/") + file));
  return engine_.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(engine_.rootObjects().first());
}

}  // namespace ravant::desktop
