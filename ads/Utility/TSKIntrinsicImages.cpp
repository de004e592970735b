#include "Utility/TSKIntrinsicImages.h"

#include "Utility/TSKIntrinsicImageData.h"
#include "toolbox/TSKStringEncoding.h"

// Made once and kept for the life of the process, like the phone's.

QPixmap TSKIntrinsicImages::createImageFromEncoding(const QString &base64)
{
    QPixmap image;
    if (const std::optional<QByteArray> png = TSKStringEncoding::rfc4648Base64StringEncoding().decode(base64))
        image.loadFromData(*png, "PNG");
    image.setDevicePixelRatio(2.0);
    return image;
}

const QPixmap &TSKIntrinsicImages::closeButton()
{
    static const QPixmap *const image = new QPixmap(createImageFromEncoding(QString::fromLatin1(TSKIntrinsicImageData::closeButton)));
    return *image;
}

const QPixmap &TSKIntrinsicImages::browserForwardButton()
{
    static const QPixmap *const image =
        new QPixmap(createImageFromEncoding(QString::fromLatin1(TSKIntrinsicImageData::browserForwardButton)));
    return *image;
}

const QPixmap &TSKIntrinsicImages::browserBackButton()
{
    static const QPixmap *const image = new QPixmap(createImageFromEncoding(QString::fromLatin1(TSKIntrinsicImageData::browserBackButton)));
    return *image;
}
