#include "Artwork.h"

#include <QFileInfo>

QPixmap Artwork::imageNamed(const QString &name)
{
    const QString base = QFileInfo(name).completeBaseName();
    for (const char *scale : {"@3x", "@2x", ""}) {
        // The reader takes the scale from the "@Nx" suffix.
        const QPixmap image(QStringLiteral(":/images/%1%2.png").arg(base, QLatin1String(scale)));
        if (!image.isNull())
            return image;
    }
    return {};
}
