#include "desktop/window/no_network.hpp"

#include <QNetworkAccessManager>
#include <QNetworkReply>

#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "NoNetwork");

class RefusedReply final : public QNetworkReply {
 public:
  RefusedReply(const QNetworkRequest& request, QObject* parent) : QNetworkReply(parent) {
    setRequest(request);
    setUrl(request.url());
    setError(ContentAccessDenied, QStringLiteral("the window makes no requests"));
    setFinished(true);
    QMetaObject::invokeMethod(this, &QNetworkReply::finished, Qt::QueuedConnection);
  }

  void abort() override {}

 private:
  qint64 readData(char*, qint64) override { return -1; }
};

class RefusingManager final : public QNetworkAccessManager {
 public:
  using QNetworkAccessManager::QNetworkAccessManager;

 private:
  QNetworkReply* createRequest(Operation, const QNetworkRequest& request, QIODevice*) override {
    kLog.warning("refused a request to {}", request.url().scheme().toStdString());
    return new RefusedReply(request, this);
  }
};

}  // namespace

QNetworkAccessManager* NoNetwork::create(QObject* parent) { return new RefusingManager(parent); }

}  // namespace ravant::desktop
