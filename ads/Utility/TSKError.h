#pragma once

#include <QMetaType>
#include <QString>
#include <QVariantMap>

#include <optional>

// A failure as a value: which subsystem (domain), which failure (code), and
// details such as a readable message and the error that caused it.
struct TSKError
{
    static inline const QString LocalizedDescriptionKey = QStringLiteral("localizedDescription");
    static inline const QString UnderlyingErrorKey = QStringLiteral("underlyingError");

    QString domain;
    qint64 code = 0;
    QVariantMap userInfo;

    static TSKError withMessage(const QString &domain, qint64 code, const QString &message);

    QString localizedDescription() const;
    std::optional<TSKError> underlyingError() const;
    void setUnderlyingError(const TSKError &underlying);

    bool operator==(const TSKError &other) const = default;
};

Q_DECLARE_METATYPE(TSKError)
