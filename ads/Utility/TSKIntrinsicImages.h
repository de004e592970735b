#pragma once

#include <QPixmap>
#include <QString>

// The ad screens' three pictures, shipped inside the library as base64 PNG
// text and made into pixmaps at scale 2 on first use (then kept).
class TSKIntrinsicImages
{
public:
    // 25 by 25 points.
    static const QPixmap &closeButton();
    // 27 by 27 points each.
    static const QPixmap &browserForwardButton();
    static const QPixmap &browserBackButton();

    static QPixmap createImageFromEncoding(const QString &base64);
};
