#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

namespace Velmora::Platform {

// XML property lists: dict, array, string, integer, real, true, false, date
// and data, as QVariantMap, QVariantList, QString, qint64, double, bool,
// QDateTime and QByteArray.
class PropertyList
{
public:
    enum class Form {
        Document,  // with the XML declaration, doctype and <plist> root
        Fragment   // the value's element alone, for embedding in other stores
    };

    // Reads a whole document or a bare value element. Anything malformed
    // gives an empty optional and, when asked, a one-line reason.
    static std::optional<QVariant> fromXml(const QByteArray &xml, QString *error = nullptr);

    // True when the value and everything inside it has a property-list form.
    static bool isPropertyListValue(const QVariant &value);

    // Callers check isPropertyListValue first; parts without a form are left out.
    static QByteArray toXml(const QVariant &value, Form form = Form::Document);
};

}  // namespace Velmora::Platform
