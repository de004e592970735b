#pragma once

#include <QString>
#include <QVariant>

class TSKMacros
{
public:
    // JSON text of a dictionary or array; "" when it cannot be written, a null string for a null value.
    static QString jsonify(const QVariant &value);
};
