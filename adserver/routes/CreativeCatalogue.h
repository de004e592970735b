#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// The house creatives, read once from creatives/catalogue.json in the site
// directory. Ads are served in turn; entries marked "rotation": false (the
// flood creative) are only served when asked for by name.
class CreativeCatalogue
{
public:
    struct Creative
    {
        QString id;
        QString orientation;  // "any", "portrait" or "landscape"
        QString target;       // where a click-through lands: site path or application link
        bool inRotation = true;
        QByteArray html;      // with {{base}}, {{unit}}, {{rid}}, {{creative}} placeholders
    };

    bool load(const QString &wwwDir, QString *error);

    QStringList ids() const;
    const Creative *find(const QString &id) const;
    // The next creative in rotation, or null when there is none.
    const Creative *next();

    static QByteArray render(const Creative &creative, const QHash<QByteArray, QByteArray> &values);

private:
    QList<Creative> creatives_;
    QList<qsizetype> rotation_;
    qsizetype turn_ = 0;
};
