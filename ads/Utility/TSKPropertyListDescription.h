#pragma once

#include <QString>
#include <QVariant>

// Property-list values printed the way the library's log lines and
// description() texts show them: "(\n    a,\n    b\n)" for arrays,
// "{\n    key = value;\n}" for dictionaries, strings quoted when they hold
// anything but letters, digits and "_.$".
class TSKPropertyListDescription
{
public:
    static QString describe(const QVariant &value);

private:
    static QString describe(const QVariant &value, int depth);
};
