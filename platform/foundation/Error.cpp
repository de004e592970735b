#include "Error.h"

namespace Velmora::Platform {

Error Error::withMessage(const QString &domain, qint64 code, const QString &message)
{
    return Error{domain, code, {{LocalizedDescriptionKey, message}}};
}

QString Error::localizedDescription() const
{
    return userInfo.value(LocalizedDescriptionKey).toString();
}

std::optional<Error> Error::underlyingError() const
{
    const QVariant underlying = userInfo.value(UnderlyingErrorKey);
    if (!underlying.canConvert<Error>())
        return std::nullopt;
    return underlying.value<Error>();
}

void Error::setUnderlyingError(const Error &underlying)
{
    userInfo.insert(UnderlyingErrorKey, QVariant::fromValue(underlying));
}

}  // namespace Velmora::Platform
