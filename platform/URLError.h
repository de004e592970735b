#pragma once

#include <QString>
#include <QVariantMap>

// Why a URL load failed: the domain of the failure, its code, and details
// under the keys below.
struct URLError
{
    static inline const QString LocalizedDescriptionKey = QStringLiteral("localizedDescription");
    static inline const QString FailingURLKey = QStringLiteral("failingURL");

    QString domain;
    qint64 code = 0;
    QVariantMap userInfo;

    QString localizedDescription() const { return userInfo.value(LocalizedDescriptionKey).toString(); }
};
