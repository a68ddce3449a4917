#pragma once

#include <QQmlNetworkAccessManagerFactory>

namespace ravant::desktop {

/// Refuses every request that something shown would make: nothing that an agent writes reaches the network by being
/// looked at.
class NoNetwork final : public QQmlNetworkAccessManagerFactory {
 public:
  QNetworkAccessManager* create(QObject* parent) override;
};

}  // namespace ravant::desktop
