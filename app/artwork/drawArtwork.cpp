// Draws every PNG of the game at three pixels per point ("name@3x.png"), so the
// screen stays sharp when the window is scaled up. Run it after changing a
// colour or a shape here and commit the PNGs it writes.
#include <QDir>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QRandomGenerator>
#include <QTextStream>

#include <functional>

namespace {

constexpr int kScale = 3;

struct Palette
{
    QColor light, base, dark;
};

const Palette kYellow{QColor(255, 250, 190), QColor(255, 206, 36), QColor(214, 120, 0)};
const Palette kCyan{QColor(235, 255, 255), QColor(40, 220, 255), QColor(0, 90, 200)};
const Palette kGreen{QColor(190, 255, 200), QColor(40, 200, 100), QColor(0, 110, 60)};
const Palette kRed{QColor(255, 200, 200), QColor(255, 70, 100), QColor(150, 0, 40)};
const Palette kPurple{QColor(225, 205, 255), QColor(150, 100, 255), QColor(60, 20, 170)};
const Palette kOrangeButton{QColor(255, 236, 120), QColor(255, 180, 40), QColor(230, 100, 10)};
const Palette kBlueButton{QColor(140, 220, 255), QColor(50, 150, 245), QColor(20, 70, 190)};

using Drawing = std::function<void(QPainter &)>;

bool save(const QString &dir, const QString &name, QSizeF points, const Drawing &draw)
{
    QImage image((points * kScale).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    painter.scale(kScale, kScale);
    draw(painter);
    painter.end();
    const QString path = QDir(dir).filePath(QStringLiteral("%1@%2x.png").arg(name).arg(kScale));
    if (!image.save(path)) {
        QTextStream(stderr) << "cannot write " << path << "\n";
        return false;
    }
    return true;
}

// A glossy sphere lit from the top left.
void drawOrb(QPainter &p, const QRectF &r, const Palette &c)
{
    QRadialGradient body(r.center(), r.width() / 2, r.topLeft() + QPointF(r.width() * 0.35, r.height() * 0.3));
    body.setColorAt(0.0, c.light);
    body.setColorAt(0.45, c.base);
    body.setColorAt(1.0, c.dark);
    p.setPen(Qt::NoPen);
    p.setBrush(body);
    p.drawEllipse(r);

    const QRectF shine(r.x() + r.width() * 0.2, r.y() + r.height() * 0.1, r.width() * 0.45, r.height() * 0.3);
    QLinearGradient gloss(shine.topLeft(), shine.bottomLeft());
    gloss.setColorAt(0, QColor(255, 255, 255, 200));
    gloss.setColorAt(1, QColor(255, 255, 255, 0));
    p.setBrush(gloss);
    p.drawEllipse(shine);
}

void drawYellowBall(QPainter &p)
{
    drawOrb(p, QRectF(1, 1, 22, 22), kYellow);
    p.setPen(QPen(QColor(150, 70, 0, 160), 0.8));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(1.4, 1.4, 21.2, 21.2));
}

void drawPlayerBall(QPainter &p)
{
    QRadialGradient halo(QPointF(18, 18), 18);
    halo.setColorAt(0.75, QColor(80, 230, 255, 120));
    halo.setColorAt(1.0, QColor(80, 230, 255, 0));
    p.setPen(Qt::NoPen);
    p.setBrush(halo);
    p.drawEllipse(QRectF(0, 0, 36, 36));
    drawOrb(p, QRectF(4, 4, 28, 28), kCyan);
    p.setPen(QPen(QColor(255, 255, 255, 230), 1.6));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(4.8, 4.8, 26.4, 26.4));
}

// A round badge with a white rim; the symbol is drawn on top by the caller.
void drawBadge(QPainter &p, const Palette &c)
{
    QRadialGradient glow(QPointF(25, 25), 25);
    glow.setColorAt(0.7, QColor(c.base.red(), c.base.green(), c.base.blue(), 110));
    glow.setColorAt(1.0, QColor(c.base.red(), c.base.green(), c.base.blue(), 0));
    p.setPen(Qt::NoPen);
    p.setBrush(glow);
    p.drawEllipse(QRectF(0, 0, 50, 50));
    drawOrb(p, QRectF(6, 6, 38, 38), c);
    p.setPen(QPen(Qt::white, 2.4));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(7.2, 7.2, 35.6, 35.6));
}

QPen symbolPen(qreal width)
{
    return QPen(Qt::white, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

void drawSymbolShadowed(QPainter &p, const std::function<void()> &stroke, qreal width)
{
    p.save();
    p.translate(0, 1);
    p.setPen(QPen(QColor(0, 0, 0, 90), width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    stroke();
    p.restore();
    p.setPen(symbolPen(width));
    stroke();
}

void drawPlus(QPainter &p)
{
    drawBadge(p, kGreen);
    drawSymbolShadowed(p, [&p] {
        p.drawLine(QPointF(25, 15), QPointF(25, 35));
        p.drawLine(QPointF(15, 25), QPointF(35, 25));
    }, 5.5);
}

void drawMinus(QPainter &p)
{
    drawBadge(p, kRed);
    drawSymbolShadowed(p, [&p] { p.drawLine(QPointF(15, 25), QPointF(35, 25)); }, 5.5);
}

// An eye crossed out: the pick-up that makes the player's ball vanish.
void drawHide(QPainter &p)
{
    drawBadge(p, kPurple);
    QPainterPath eye;
    eye.moveTo(13, 25);
    eye.quadTo(25, 12, 37, 25);
    eye.quadTo(25, 38, 13, 25);
    drawSymbolShadowed(p, [&p, &eye] {
        p.setBrush(Qt::NoBrush);
        p.drawPath(eye);
        p.drawEllipse(QPointF(25, 25), 3.2, 3.2);
        p.drawLine(QPointF(15, 35), QPointF(35, 15));
    }, 2.6);
}

void drawStars(QPainter &p, QSizeF area, int count, quint32 seed)
{
    QRandomGenerator random(seed);
    p.setPen(Qt::NoPen);
    for (int i = 0; i < count; ++i) {
        const QPointF at(random.bounded(area.width()), random.bounded(area.height()));
        const qreal radius = 0.3 + random.bounded(0.9);
        p.setBrush(QColor(255, 255, 255, 40 + random.bounded(140)));
        p.drawEllipse(at, radius, radius);
    }
}

void drawVignette(QPainter &p)
{
    QRadialGradient vignette(QPointF(160, 240), 330);
    vignette.setColorAt(0.55, QColor(0, 0, 0, 0));
    vignette.setColorAt(1.0, QColor(0, 0, 0, 150));
    p.fillRect(QRectF(0, 0, 320, 480), vignette);
}

void fillVertical(QPainter &p, const QColor &top, const QColor &bottom)
{
    QLinearGradient sky(0, 0, 0, 480);
    sky.setColorAt(0, top);
    sky.setColorAt(1, bottom);
    p.fillRect(QRectF(0, 0, 320, 480), sky);
}

void drawBokeh(QPainter &p, QPointF centre, qreal radius, QColor colour)
{
    QRadialGradient light(centre, radius);
    colour.setAlpha(70);
    light.setColorAt(0, colour);
    colour.setAlpha(0);
    light.setColorAt(1, colour);
    p.setPen(Qt::NoPen);
    p.setBrush(light);
    p.drawEllipse(centre, radius, radius);
}

void drawField(QPainter &p)
{
    fillVertical(p, QColor(10, 14, 44), QColor(30, 14, 70));
    p.setPen(QPen(QColor(90, 200, 255, 22), 0.6));
    for (int x = 0; x <= 320; x += 32)
        p.drawLine(QPointF(x, 0), QPointF(x, 480));
    for (int y = 0; y <= 480; y += 32)
        p.drawLine(QPointF(0, y), QPointF(320, y));
    drawStars(p, QSizeF(320, 480), 90, 7);
    // The balls come in from the bottom edge: let it glow.
    QLinearGradient edge(0, 480, 0, 420);
    edge.setColorAt(0, QColor(255, 170, 40, 90));
    edge.setColorAt(1, QColor(255, 170, 40, 0));
    p.fillRect(QRectF(0, 420, 320, 60), edge);
    drawVignette(p);
}

void drawMenuBackground(QPainter &p)
{
    fillVertical(p, QColor(20, 26, 80), QColor(62, 18, 96));
    drawBokeh(p, QPointF(40, 120), 110, QColor(255, 200, 40));
    drawBokeh(p, QPointF(290, 330), 130, QColor(40, 220, 255));
    drawBokeh(p, QPointF(70, 420), 90, QColor(255, 60, 160));
    drawStars(p, QSizeF(320, 480), 120, 11);
    drawVignette(p);
}

void drawInfoBackground(QPainter &p)
{
    fillVertical(p, QColor(16, 24, 62), QColor(30, 40, 96));
    drawBokeh(p, QPointF(300, 60), 120, QColor(150, 100, 255));
    drawStars(p, QSizeF(320, 480), 70, 23);
    drawVignette(p);
}

void drawOverBackground(QPainter &p)
{
    fillVertical(p, QColor(52, 10, 48), QColor(12, 10, 36));
    drawBokeh(p, QPointF(160, 110), 170, QColor(255, 60, 90));
    drawStars(p, QSizeF(320, 480), 80, 31);
    drawVignette(p);
}

// Big outlined lettering with a warm gradient and a soft glow.
void drawTitle(QPainter &p, QSizeF size, const QString &text, qreal pixelSize, const Palette &c)
{
    QFont font(QStringLiteral("URW Gothic"));
    font.setWeight(QFont::Bold);
    font.setPixelSize(int(pixelSize));
    font.setLetterSpacing(QFont::AbsoluteSpacing, 2);
    QPainterPath path;
    path.addText(0, 0, font, text);
    const QRectF bounds = path.boundingRect();
    path.translate(QPointF(size.width(), size.height()) / 2 - bounds.center());

    for (int i = 6; i >= 1; --i) {
        p.setPen(QPen(QColor(c.base.red(), c.base.green(), c.base.blue(), 22), i * 2.2, Qt::SolidLine, Qt::RoundCap,
                      Qt::RoundJoin));
        p.drawPath(path);
    }
    p.setPen(QPen(QColor(40, 10, 60), 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(path.translated(0, 2));
    QLinearGradient fill(0, path.boundingRect().top(), 0, path.boundingRect().bottom());
    fill.setColorAt(0, c.light);
    fill.setColorAt(0.5, c.base);
    fill.setColorAt(1, c.dark);
    p.setPen(QPen(QColor(40, 10, 60), 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(fill);
    p.drawPath(path);
}

// A pill that stretches sideways; its rounded ends are the 24-point slices.
void drawButton(QPainter &p, const Palette &c, bool pressed)
{
    const QRectF pill(1, 2, 158, 44);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 90));
    p.drawRoundedRect(pill.translated(0, 2), 22, 22);
    QLinearGradient body(0, pill.top(), 0, pill.bottom());
    body.setColorAt(0, pressed ? c.base : c.light);
    body.setColorAt(0.55, pressed ? c.dark : c.base);
    body.setColorAt(1, c.dark);
    p.setPen(QPen(c.dark.darker(150), 1.2));
    p.setBrush(body);
    p.drawRoundedRect(pill.translated(0, pressed ? 1.5 : 0), 22, 22);
    if (pressed)
        return;
    QLinearGradient gloss(0, pill.top(), 0, pill.center().y());
    gloss.setColorAt(0, QColor(255, 255, 255, 150));
    gloss.setColorAt(1, QColor(255, 255, 255, 10));
    p.setPen(Qt::NoPen);
    p.setBrush(gloss);
    p.drawRoundedRect(QRectF(pill.left() + 8, pill.top() + 3, pill.width() - 16, pill.height() / 2 - 3), 12, 12);
}

void drawPanel(QPainter &p)
{
    p.setPen(QPen(QColor(255, 255, 255, 60), 1));
    p.setBrush(QColor(8, 10, 30, 150));
    p.drawRoundedRect(QRectF(0.5, 0.5, 63, 63), 16, 16);
}

}  // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(".");
    QDir().mkpath(dir);
    const QSizeF screen(320, 480);
    bool ok = true;
    ok &= save(dir, "BallSmall_yellow", {24, 24}, drawYellowBall);
    ok &= save(dir, "PlayerBall", {36, 36}, drawPlayerBall);
    ok &= save(dir, "PickupPlus", {50, 50}, drawPlus);
    ok &= save(dir, "PickupMinus", {50, 50}, drawMinus);
    ok &= save(dir, "PickupHide", {50, 50}, drawHide);
    ok &= save(dir, "Field", screen, drawField);
    ok &= save(dir, "MenuBackground", screen, drawMenuBackground);
    ok &= save(dir, "InfoBackground", screen, drawInfoBackground);
    ok &= save(dir, "OverBackground", screen, drawOverBackground);
    ok &= save(dir, "Logo", {300, 90}, [](QPainter &p) { drawTitle(p, {300, 90}, "VELMORA", 58, kYellow); });
    ok &= save(dir, "GameOver", {300, 70}, [](QPainter &p) { drawTitle(p, {300, 70}, "GAME OVER", 44, kRed); });
    ok &= save(dir, "ButtonOrange", {160, 50}, [](QPainter &p) { drawButton(p, kOrangeButton, false); });
    ok &= save(dir, "ButtonOrangePressed", {160, 50}, [](QPainter &p) { drawButton(p, kOrangeButton, true); });
    ok &= save(dir, "ButtonBlue", {160, 50}, [](QPainter &p) { drawButton(p, kBlueButton, false); });
    ok &= save(dir, "ButtonBluePressed", {160, 50}, [](QPainter &p) { drawButton(p, kBlueButton, true); });
    ok &= save(dir, "Panel", {64, 64}, drawPanel);
    return ok ? 0 : 1;
}
