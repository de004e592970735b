#include "Utility/TSKError.h"

TSKError TSKError::withMessage(const QString &domain, qint64 code, const QString &message)
{
    return TSKError{domain, code, {{LocalizedDescriptionKey, message}}};
}

QString TSKError::localizedDescription() const
{
    return userInfo.value(LocalizedDescriptionKey).toString();
}

std::optional<TSKError> TSKError::underlyingError() const
{
    const QVariant underlying = userInfo.value(UnderlyingErrorKey);
    if (!underlying.canConvert<TSKError>())
        return std::nullopt;
    return underlying.value<TSKError>();
}

void TSKError::setUnderlyingError(const TSKError &underlying)
{
    userInfo.insert(UnderlyingErrorKey, QVariant::fromValue(underlying));
}
