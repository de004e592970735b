#include "Artwork.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QHash>
#include <QImage>
#include <QLabel>
#include <QTextDocument>
#include <QUrl>
#include <utility>

namespace {

// Read as an image, not a pixmap: a pixmap read from a file would also stay
// in the pixmap cache at full resolution.
QImage load(const QString &base)
{
    for (const char *scale : {"@3x", "@2x", ""}) {
        // The reader takes the scale from the "@Nx" suffix.
        const QImage image(QStringLiteral(":/images/%1%2.png").arg(base, QLatin1String(scale)));
        if (!image.isNull())
            return image;
    }
    return {};
}

// Smoothed down once here rather than by every view that paints it.
QPixmap atDisplayScale(const QImage &image)
{
    const qreal scale = qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
    if (image.isNull() || image.devicePixelRatio() <= scale)
        return QPixmap::fromImage(image);
    QImage scaled = image.scaled((image.deviceIndependentSize() * scale).toSize(), Qt::IgnoreAspectRatio,
                                 Qt::SmoothTransformation);
    scaled.setDevicePixelRatio(scale);
    return QPixmap::fromImage(std::move(scaled));
}

// A label's rich text would otherwise read each image it names into a
// document of its own, at the file's full resolution: per label, per screen.
void shareWithRichText()
{
    static bool shared = false;
    if (std::exchange(shared, true))
        return;
    const QTextDocument::ResourceProvider earlier = QTextDocument::defaultResourceProvider();
    QTextDocument::setDefaultResourceProvider([earlier](const QUrl &url) -> QVariant {
        if (url.scheme() == QLatin1String("artwork"))
            return Artwork::imageNamed(url.path());
        return earlier ? earlier(url) : QVariant();
    });
}

}  // namespace

QPixmap Artwork::imageNamed(const QString &name)
{
    // Never freed, like the other process-wide objects.
    static auto *const images = new QHash<QString, QPixmap>;
    const QString base = QFileInfo(name).completeBaseName();
    auto found = images->constFind(base);
    if (found == images->constEnd())
        found = images->insert(base, atDisplayScale(load(base)));
    return *found;
}

void Artwork::showImages(QWidget *view)
{
    shareWithRichText();
    const auto labels = view->findChildren<QLabel *>();
    for (QLabel *label : labels) {
        const QString name = label->property("image").toString();
        if (!name.isEmpty())
            label->setPixmap(imageNamed(name));
    }
}
