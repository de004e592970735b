// Draws the close button (50 x 50 pixels) and the browser's arrows (54 x 54)
// at scale 2 and writes them, PNG-encoded in base64, as a C++ header.
#include <QBuffer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <cstdio>

namespace {

QImage blank(int side)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    return image;
}

QImage closeButton()
{
    QImage image = blank(50);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    // A soft shadow under a dark round button with a light rim.
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 70));
    painter.drawEllipse(QPointF(25, 27), 22, 22);
    QRadialGradient face(QPointF(21, 19), 24);
    face.setColorAt(0, QColor(0x55, 0x55, 0x5c));
    face.setColorAt(1, QColor(0x16, 0x16, 0x1a));
    painter.setBrush(face);
    painter.setPen(QPen(QColor(0xee, 0xee, 0xf2), 3));
    painter.drawEllipse(QPointF(25, 25), 20, 20);
    painter.setPen(QPen(Qt::white, 4.5, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(18, 18), QPointF(32, 32));
    painter.drawLine(QPointF(32, 18), QPointF(18, 32));
    return image;
}

QImage arrow(bool pointsRight)
{
    QImage image = blank(54);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath triangle;
    const double tip = pointsRight ? 42 : 12;
    const double base = pointsRight ? 16 : 38;
    triangle.moveTo(tip, 27);
    triangle.lineTo(base, 12);
    triangle.lineTo(base, 42);
    triangle.closeSubpath();
    painter.fillPath(triangle, Qt::white);
    return image;
}

QByteArray base64Png(const QImage &image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png.toBase64();
}

}  // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT.h\n", argv[0]);
        return 2;
    }
    QFile out(QString::fromLocal8Bit(argv[1]));
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::fprintf(stderr, "cannot write %s\n", argv[1]);
        return 1;
    }
    out.write("#pragma once\n\n// Written by tools/intrinsic-images; do not edit.\nnamespace TSKIntrinsicImageData {\n\n");
    const std::pair<const char *, QImage> images[] = {
        {"closeButton", closeButton()}, {"browserForwardButton", arrow(true)}, {"browserBackButton", arrow(false)}};
    for (const auto &[name, image] : images)
        out.write("inline constexpr const char *" + QByteArray(name) + " =\n    \"" + base64Png(image) + "\";\n\n");
    out.write("}  // namespace TSKIntrinsicImageData\n");
    return 0;
}
