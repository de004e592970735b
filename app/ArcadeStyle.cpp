#include "ArcadeStyle.h"

#include <QApplication>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QStyleOption>
#include <qdrawutil.h>

namespace {

const QColor kLightText(Qt::white);
const QColor kAccentText(0x4a, 0x22, 0x00);
const QColor kLinkText(0xb9, 0xc4, 0xff);
const QColor kDisabledLinkText(0x7f, 0x88, 0xb8);
constexpr int kLinkPixels = 14;
// A pill's round ends are 72 pixels of its image, drawn 24 points wide.
const QMargins kPillSource(72, 0, 72, 0);
const QMargins kPillTarget(24, 0, 24, 0);
const QMargins kPanelSource(48, 48, 48, 48);
const QMargins kPanelTarget(12, 12, 12, 12);
constexpr int kButtonPixels = 18;

struct LabelRole {
    const char *name;
    int pixels;
    bool bold;
    QColor colour;
};

// Labels say what they are with their "role" property; the rest keep the application's font and colours.
const LabelRole kRoles[] = {
    {"caption", 12, true, QColor(0xb9, 0xc4, 0xff)},
    {"score", 34, true, kLightText},
    {"finalScore", 52, true, QColor(0xff, 0xd2, 0x3f)},
    {"roundScore", 28, true, kLightText},
    {"pageTitle", 24, true, kLightText},
    {"body", 14, false, QColor(0xe8, 0xec, 0xff)},
    {"smallBody", 13, false, QColor(0xe8, 0xec, 0xff)},
};

QPixmap styleImage(const char *name)
{
    return QPixmap(QStringLiteral(":/style/") + QLatin1String(name));
}

QFont sized(const QWidget *widget, int pixels, bool bold)
{
    QFont font = widget->font();
    font.setPixelSize(pixels);
    font.setBold(bold);
    return font;
}

void setTextColour(QWidget *widget, QPalette::ColorRole role, const QColor &colour)
{
    QPalette palette = widget->palette();
    palette.setColor(role, colour);
    widget->setPalette(palette);
}

// The image's corners and edges keep their size; the middle stretches.
void drawBorderImage(QPainter *painter, const QRect &target, const QMargins &targetMargins, const QPixmap &image,
                     const QMargins &sourceMargins)
{
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    qDrawBorderPixmap(painter, target, targetMargins, image, image.rect(), sourceMargins);
    painter->restore();
}

// A button whose "role" is "link" reads as underlined text, without a pill.
bool isLink(const QWidget *widget)
{
    return widget && widget->property("role").toByteArray() == "link";
}

bool isPanel(const QWidget *widget)
{
    return widget && widget->property("panel").toBool() && qobject_cast<const QLabel *>(widget);
}

}  // namespace

ArcadeStyle::ArcadeStyle()
    : blue_(styleImage("ButtonBlue.png"))
    , bluePressed_(styleImage("ButtonBluePressed.png"))
    , orange_(styleImage("ButtonOrange.png"))
    , orangePressed_(styleImage("ButtonOrangePressed.png"))
    , panel_(styleImage("Panel.png"))
{
}

QFont ArcadeStyle::applicationFont()
{
    QFont font = QApplication::font();
    font.setFamilies({QStringLiteral("DejaVu Sans")});
    return font;
}

void ArcadeStyle::polish(QPalette &palette)
{
    QProxyStyle::polish(palette);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::ButtonText, QPalette::Text})
        palette.setColor(role, kLightText);
    QColor placeholder = kLightText;
    placeholder.setAlpha(128);
    palette.setColor(QPalette::PlaceholderText, placeholder);
}

void ArcadeStyle::polish(QWidget *widget)
{
    QProxyStyle::polish(widget);
    if (qobject_cast<QPushButton *>(widget))
        polishButton(widget);
    else if (qobject_cast<QLabel *>(widget))
        polishLabel(widget);
}

void ArcadeStyle::polishButton(QWidget *button) const
{
    if (isLink(button)) {
        button->setFont(sized(button, kLinkPixels, true));
        QPalette palette = button->palette();
        palette.setColor(QPalette::ButtonText, kLinkText);
        palette.setColor(QPalette::Disabled, QPalette::ButtonText, kDisabledLinkText);
        button->setPalette(palette);
        return;
    }
    button->setFont(sized(button, kButtonPixels, true));
    if (button->property("accent").toBool())
        setTextColour(button, QPalette::ButtonText, kAccentText);
}

void ArcadeStyle::polishLabel(QWidget *label) const
{
    const QByteArray role = label->property("role").toByteArray();
    for (const LabelRole &each : kRoles) {
        if (role != each.name)
            continue;
        label->setFont(sized(label, each.pixels, each.bold));
        if (each.colour != kLightText)
            setTextColour(label, QPalette::WindowText, each.colour);
    }
}

void ArcadeStyle::drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                              const QWidget *widget) const
{
    if (isLink(widget)) {
        drawLink(element, option, painter, widget);
        return;
    }
    if (element == CE_PushButtonBevel && qobject_cast<const QPushButton *>(widget)) {
        drawBorderImage(painter, option->rect, kPillTarget, buttonImage(option, widget), kPillSource);
        return;
    }
    if (element == CE_ShapedFrame && isPanel(widget)) {
        drawBorderImage(painter, option->rect, kPanelTarget, panel_, kPanelSource);
        return;
    }
    QProxyStyle::drawControl(element, option, painter, widget);
}

// Only an enabled link is underlined.
void ArcadeStyle::drawLink(ControlElement element, const QStyleOption *option, QPainter *painter,
                           const QWidget *widget) const
{
    if (element == CE_PushButtonBevel)
        return;
    painter->save();
    QFont font = painter->font();
    font.setUnderline(option->state & State_Enabled);
    painter->setFont(font);
    QProxyStyle::drawControl(element, option, painter, widget);
    painter->restore();
}

// A panel's text keeps clear of its border, as a frame's contents do.
QRect ArcadeStyle::subElementRect(SubElement element, const QStyleOption *option, const QWidget *widget) const
{
    if (element == SE_ShapedFrameContents && isPanel(widget))
        return option->rect.marginsRemoved(kPanelTarget);
    return QProxyStyle::subElementRect(element, option, widget);
}

const QPixmap &ArcadeStyle::buttonImage(const QStyleOption *option, const QWidget *button) const
{
    const bool pressed = option->state & State_Sunken;
    if (button->property("accent").toBool())
        return pressed ? orangePressed_ : orange_;
    return pressed ? bluePressed_ : blue_;
}
