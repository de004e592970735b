#include "Utility/TSKPropertyListDescription.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTimeZone>

namespace {

QString indent(int depth)
{
    return QString(4 * depth, QLatin1Char(' '));
}

QString quotedIfNeeded(const QString &text)
{
    static const QRegularExpression bare(QStringLiteral("^[A-Za-z0-9_.$]+$"));
    if (bare.match(text).hasMatch())
        return text;
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

}  // namespace

QString TSKPropertyListDescription::describe(const QVariant &value)
{
    return describe(value, 0);
}

QString TSKPropertyListDescription::describe(const QVariant &value, int depth)
{
    switch (value.typeId()) {
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QStringList items;
        for (const QVariant &item : value.toList())
            items << indent(depth + 1) + describe(item, depth + 1);
        return QStringLiteral("(\n") + items.join(QStringLiteral(",\n")) + (items.isEmpty() ? "" : "\n") + indent(depth)
            + QLatin1Char(')');
    }
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        QString text = QStringLiteral("{\n");
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            text += indent(depth + 1) + quotedIfNeeded(it.key()) + QStringLiteral(" = ") + describe(it.value(), depth + 1)
                + QStringLiteral(";\n");
        return text + indent(depth) + QLatin1Char('}');
    }
    case QMetaType::QDateTime:
        return value.toDateTime().toTimeZone(QTimeZone::utc()).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::UnknownType:
        return QStringLiteral("(null)");
    case QMetaType::Nullptr:
        return QStringLiteral("<null>");
    case QMetaType::QString:
        return quotedIfNeeded(value.toString());
    default:
        return value.toString();
    }
}
