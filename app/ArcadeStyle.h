#pragma once

#include <QPixmap>
#include <QProxyStyle>

// The game's look: glossy pill buttons, framed panels and light text on the
// dark artwork. One style object polishes every widget, and widgets that look
// alike get the same font and colours. An application style sheet kept a set
// of rules for every widget it had polished, about 7 kB each; every round the
// player started keeps two screens of widgets, so that was most of a covered
// round's memory.
class ArcadeStyle : public QProxyStyle
{
public:
    ArcadeStyle();

    // Light text and the game's typeface for every widget, the ad screens' too.
    void polish(QPalette &palette) override;
    void polish(QWidget *widget) override;
    using QProxyStyle::polish;
    void drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                     const QWidget *widget) const override;
    QRect subElementRect(SubElement element, const QStyleOption *option, const QWidget *widget) const override;

    // The application's font: the game's typeface at the platform's size.
    static QFont applicationFont();

private:
    void polishButton(QWidget *button) const;
    void polishLabel(QWidget *label) const;
    void drawLink(ControlElement element, const QStyleOption *option, QPainter *painter, const QWidget *widget) const;
    const QPixmap &buttonImage(const QStyleOption *option, const QWidget *button) const;

    QPixmap blue_, bluePressed_, orange_, orangePressed_, panel_;
};
