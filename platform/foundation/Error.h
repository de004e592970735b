#pragma once

#include "PlatformExport.h"

#include <QMetaType>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace Velmora::Platform {

/// A failure as a value: which subsystem (domain), which failure (code), and
/// details such as a readable message and the error that caused it.
struct VELMORAPLATFORM_EXPORT Error
{
    static inline const QString LocalizedDescriptionKey = QStringLiteral("localizedDescription");
    static inline const QString UnderlyingErrorKey = QStringLiteral("underlyingError");
    static inline const QString FailingURLKey = QStringLiteral("failingURL");

    QString domain;
    qint64 code = 0;
    QVariantMap userInfo;

    static Error withMessage(const QString &domain, qint64 code, const QString &message);

    QString localizedDescription() const;
    std::optional<Error> underlyingError() const;
    void setUnderlyingError(const Error &underlying);

    bool operator==(const Error &other) const = default;
};

}  // namespace Velmora::Platform

Q_DECLARE_METATYPE(Velmora::Platform::Error)
