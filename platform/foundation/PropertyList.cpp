#include "PropertyList.h"

#include <QDateTime>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <limits>

namespace Velmora::Platform {

namespace {

// Deeper nesting than any real store has; keeps hostile input off the stack.
constexpr int MaxDepth = 256;

bool isInteger(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::Long:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::ULong:
        return true;
    case QMetaType::ULongLong:
        return value.toULongLong() <= quint64(std::numeric_limits<qint64>::max());
    default:
        return false;
    }
}

class Reader
{
public:
    explicit Reader(const QByteArray &xml) : xml_(xml) {}

    std::optional<QVariant> read(QString *error)
    {
        std::optional<QVariant> result = readDocument();
        if (!result && error)
            *error = xml_.hasError() ? xml_.errorString() : failure_;
        return result;
    }

private:
    std::optional<QVariant> readDocument()
    {
        if (!xml_.readNextStartElement())
            return fail(QStringLiteral("no root element"));
        std::optional<QVariant> value;
        if (xml_.name() == u"plist") {
            if (!xml_.readNextStartElement())
                return fail(QStringLiteral("empty plist"));
            value = readValue(0);
            if (value && xml_.readNextStartElement())
                return fail(QStringLiteral("more than one value in plist"));
        } else {
            value = readValue(0);
        }
        if (!value)
            return std::nullopt;
        // Reading on to the end surfaces trailing garbage as an XML error.
        while (!xml_.atEnd())
            xml_.readNext();
        if (xml_.hasError())
            return std::nullopt;
        return value;
    }

    // The reader stands on the value's start element; returns past its end.
    std::optional<QVariant> readValue(int depth)
    {
        if (depth > MaxDepth)
            return fail(QStringLiteral("nested too deeply"));
        const QStringView name = xml_.name();
        if (name == u"dict")
            return readDict(depth);
        if (name == u"array")
            return readArray(depth);
        if (name == u"true" || name == u"false")
            return readBool(name == u"true");
        const std::optional<QString> text = readText();
        if (!text)
            return std::nullopt;
        if (name == u"string")
            return QVariant(*text);
        if (name == u"integer")
            return readInteger(*text);
        if (name == u"real")
            return readReal(*text);
        if (name == u"date")
            return readDate(*text);
        if (name == u"data")
            return readData(*text);
        return fail(QStringLiteral("unknown element <%1>").arg(name));
    }

    std::optional<QVariant> readDict(int depth)
    {
        QVariantMap map;
        while (xml_.readNextStartElement()) {
            if (xml_.name() != u"key")
                return fail(QStringLiteral("dict entry without key"));
            const std::optional<QString> key = readText();
            if (!key)
                return std::nullopt;
            if (!xml_.readNextStartElement())
                return fail(QStringLiteral("key %1 without value").arg(*key));
            std::optional<QVariant> value = readValue(depth + 1);
            if (!value)
                return std::nullopt;
            map.insert(*key, *value);
        }
        return endOfContainer(QVariant(map));
    }

    std::optional<QVariant> readArray(int depth)
    {
        QVariantList list;
        while (xml_.readNextStartElement()) {
            std::optional<QVariant> value = readValue(depth + 1);
            if (!value)
                return std::nullopt;
            list.append(*value);
        }
        return endOfContainer(QVariant(list));
    }

    std::optional<QVariant> endOfContainer(const QVariant &container)
    {
        if (xml_.hasError())
            return std::nullopt;
        return container;
    }

    std::optional<QVariant> readBool(bool value)
    {
        if (xml_.readNextStartElement())
            return fail(QStringLiteral("boolean with content"));
        return endOfContainer(QVariant(value));
    }

    std::optional<QString> readText()
    {
        QString text = xml_.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
        if (xml_.hasError())
            return std::nullopt;
        return text;
    }

    std::optional<QVariant> readInteger(const QString &text)
    {
        bool ok = false;
        const qint64 value = text.trimmed().toLongLong(&ok);
        if (!ok)
            return fail(QStringLiteral("bad integer %1").arg(text.left(40)));
        return QVariant(value);
    }

    std::optional<QVariant> readReal(const QString &text)
    {
        bool ok = false;
        const double value = text.trimmed().toDouble(&ok);
        if (!ok)
            return fail(QStringLiteral("bad real %1").arg(text.left(40)));
        return QVariant(value);
    }

    std::optional<QVariant> readDate(const QString &text)
    {
        const QDateTime date = QDateTime::fromString(text.trimmed(), Qt::ISODateWithMs);
        if (!date.isValid())
            return fail(QStringLiteral("bad date %1").arg(text.left(40)));
        return QVariant(date.toUTC());
    }

    std::optional<QVariant> readData(const QString &text)
    {
        QByteArray base64 = text.toLatin1();
        base64.removeIf([](char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; });
        QByteArray::FromBase64Result decoded =
            QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            return fail(QStringLiteral("bad base 64 data"));
        return QVariant(decoded.decoded);
    }

    std::nullopt_t fail(const QString &reason)
    {
        if (failure_.isEmpty())
            failure_ = reason;
        return std::nullopt;
    }

    QXmlStreamReader xml_;
    QString failure_;
};

class Writer
{
public:
    explicit Writer(QByteArray *out) : xml_(out) {}

    void writeDocument(const QVariant &value)
    {
        xml_.writeStartDocument();
        xml_.writeStartElement(QStringLiteral("plist"));
        xml_.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
        writeValue(value);
        xml_.writeEndElement();
        xml_.writeEndDocument();
    }

    // The writer closes an empty element (<true/>) only when something
    // follows it; nothing follows a fragment, so it is told it is done.
    void writeFragment(const QVariant &value)
    {
        writeValue(value);
        xml_.writeCharacters(QString());
    }

    void writeValue(const QVariant &value)
    {
        switch (value.typeId()) {
        case QMetaType::QVariantMap:
            writeDict(value.toMap());
            break;
        case QMetaType::QVariantList:
        case QMetaType::QStringList:
            writeArray(value.toList());
            break;
        case QMetaType::QString:
            writeString(QStringLiteral("string"), value.toString());
            break;
        case QMetaType::Bool:
            xml_.writeEmptyElement(value.toBool() ? QStringLiteral("true") : QStringLiteral("false"));
            break;
        case QMetaType::Double:
        case QMetaType::Float:
            xml_.writeTextElement(QStringLiteral("real"), QString::number(value.toDouble(), 'g', 17));
            break;
        case QMetaType::QDateTime:
            xml_.writeTextElement(QStringLiteral("date"), dateText(value.toDateTime()));
            break;
        case QMetaType::QByteArray:
            xml_.writeTextElement(QStringLiteral("data"), QString::fromLatin1(value.toByteArray().toBase64()));
            break;
        default:
            if (isInteger(value))
                xml_.writeTextElement(QStringLiteral("integer"), value.toString());
            break;
        }
    }

private:
    void writeDict(const QVariantMap &map)
    {
        xml_.writeStartElement(QStringLiteral("dict"));
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!PropertyList::isPropertyListValue(it.value()))
                continue;
            writeString(QStringLiteral("key"), it.key());
            writeValue(it.value());
        }
        xml_.writeEndElement();
    }

    void writeArray(const QVariantList &list)
    {
        xml_.writeStartElement(QStringLiteral("array"));
        for (const QVariant &item : list)
            writeValue(item);
        xml_.writeEndElement();
    }

    // A bare carriage return would come back as a line feed, so it goes out
    // as a character reference.
    void writeString(const QString &element, const QString &text)
    {
        xml_.writeStartElement(element);
        const QStringList pieces = text.split(QLatin1Char('\r'));
        for (qsizetype i = 0; i < pieces.size(); ++i) {
            if (i > 0)
                xml_.writeEntityReference(QStringLiteral("#13"));
            if (!pieces[i].isEmpty())
                xml_.writeCharacters(pieces[i]);
        }
        xml_.writeEndElement();
    }

    static QString dateText(const QDateTime &date)
    {
        const QDateTime utc = date.toUTC();
        return utc.toString(utc.time().msec() ? Qt::ISODateWithMs : Qt::ISODate);
    }

    QXmlStreamWriter xml_;
};

}  // namespace

std::optional<QVariant> PropertyList::fromXml(const QByteArray &xml, QString *error)
{
    return Reader(xml).read(error);
}

bool PropertyList::isPropertyListValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        return std::all_of(map.cbegin(), map.cend(), isPropertyListValue);
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        return std::all_of(list.cbegin(), list.cend(), isPropertyListValue);
    }
    case QMetaType::QStringList:
    case QMetaType::QString:
    case QMetaType::Bool:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::QByteArray:
        return true;
    case QMetaType::QDateTime:
        return value.toDateTime().isValid();
    default:
        return isInteger(value);
    }
}

QByteArray PropertyList::toXml(const QVariant &value, Form form)
{
    QByteArray out;
    Writer writer(&out);
    if (form == Form::Document)
        writer.writeDocument(value);
    else
        writer.writeFragment(value);
    return out;
}

}  // namespace Velmora::Platform
