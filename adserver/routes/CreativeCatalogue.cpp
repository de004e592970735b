#include "routes/CreativeCatalogue.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

bool readFile(const QString &path, QByteArray *content, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    *content = file.readAll();
    return true;
}

// Shared styles and scripts are pasted into each creative, so an ad page is
// one self-contained response.
bool resolveIncludes(const QString &dir, QByteArray *html, QString *error)
{
    static const QRegularExpression include(QStringLiteral("\\{\\{include:([a-z0-9.-]+)\\}\\}"));
    const QString text = QString::fromUtf8(*html);
    QString resolved;
    qsizetype copied = 0;
    for (const QRegularExpressionMatch &match : include.globalMatch(text)) {
        QByteArray content;
        if (!readFile(dir + match.captured(1), &content, error))
            return false;
        resolved += QStringView(text).mid(copied, match.capturedStart() - copied);
        resolved += QString::fromUtf8(content);
        copied = match.capturedEnd();
    }
    resolved += QStringView(text).mid(copied);
    *html = resolved.toUtf8();
    return true;
}

}  // namespace

bool CreativeCatalogue::load(const QString &wwwDir, QString *error)
{
    const QString dir = wwwDir + QStringLiteral("/creatives/");
    QByteArray json;
    if (!readFile(dir + QStringLiteral("catalogue.json"), &json, error))
        return false;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (!document.isArray()) {
        *error = QStringLiteral("%1catalogue.json is not a JSON array: %2").arg(dir, parseError.errorString());
        return false;
    }
    static const QRegularExpression idPattern(QStringLiteral("^[a-z0-9-]+$"));
    for (const QJsonValue &value : document.array()) {
        const QJsonObject entry = value.toObject();
        Creative creative;
        creative.id = entry.value(QStringLiteral("id")).toString();
        creative.orientation = entry.value(QStringLiteral("orientation")).toString(QStringLiteral("any"));
        creative.target = entry.value(QStringLiteral("target")).toString();
        creative.inRotation = entry.value(QStringLiteral("rotation")).toBool(true);
        if (!idPattern.match(creative.id).hasMatch()) {
            *error = QStringLiteral("%1catalogue.json: bad creative id \"%2\"").arg(dir, creative.id);
            return false;
        }
        if (!readFile(dir + entry.value(QStringLiteral("file")).toString(), &creative.html, error)
            || !resolveIncludes(dir, &creative.html, error))
            return false;
        if (creative.inRotation)
            rotation_.append(creatives_.size());
        creatives_.append(creative);
    }
    return true;
}

QStringList CreativeCatalogue::ids() const
{
    QStringList ids;
    for (const Creative &creative : creatives_)
        ids.append(creative.id);
    return ids;
}

const CreativeCatalogue::Creative *CreativeCatalogue::find(const QString &id) const
{
    for (const Creative &creative : creatives_) {
        if (creative.id == id)
            return &creative;
    }
    return nullptr;
}

const CreativeCatalogue::Creative *CreativeCatalogue::next()
{
    if (rotation_.isEmpty())
        return nullptr;
    const Creative *creative = &creatives_.at(rotation_.at(turn_ % rotation_.size()));
    ++turn_;
    return creative;
}

QByteArray CreativeCatalogue::render(const Creative &creative, const QHash<QByteArray, QByteArray> &values)
{
    QByteArray html = creative.html;
    for (auto value = values.cbegin(); value != values.cend(); ++value)
        html.replace("{{" + value.key() + "}}", value.value());
    return html;
}
