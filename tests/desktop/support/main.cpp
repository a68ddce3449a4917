#include <gmock/gmock.h>

#include <QGuiApplication>

namespace {

/// A warning of Qt is a failure of the test in which it comes.
void failAtWarning(QtMsgType type, const QMessageLogContext&, const QString& message) {
  if (type == QtDebugMsg || type == QtInfoMsg) return;
  ADD_FAILURE() << "Qt warned: " << message.toStdString();
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_QUICK_BACKEND", "software");
  const QGuiApplication application(argc, argv);
  qInstallMessageHandler(failAtWarning);
  return RUN_ALL_TESTS();
}
