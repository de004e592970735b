#include "Utility/TSKMacros.h"

#include "json/TSKJSON.h"

QString TSKMacros::jsonify(const QVariant &value)
{
    if (!value.isValid())
        return {};
    TSKJSON writer;
    const QString text = writer.stringWithObject(value);
    return text.isNull() ? QString("") : text;
}
