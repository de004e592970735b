#include "ActivityIndicator.h"

#include <QPainter>
#include <QTimerEvent>

namespace Velmora::Platform {

namespace {

constexpr int kStepMs = 80;
constexpr int kSide = 20;

}  // namespace

ActivityIndicator::ActivityIndicator(Style style, QWidget *parent)
    : QWidget(parent), color_(style == Gray ? QColor(0x80, 0x80, 0x80) : QColor(Qt::white))
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    resize(sizeHint());
    hide();
}

QSize ActivityIndicator::sizeHint() const
{
    return {kSide, kSide};
}

void ActivityIndicator::startAnimating()
{
    timer_.start(kStepMs, this);
    show();
}

void ActivityIndicator::stopAnimating()
{
    timer_.stop();
    hide();
}

void ActivityIndicator::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != timer_.timerId())
        return QWidget::timerEvent(event);
    step_ = (step_ + 1) % kSpokes;
    update();
}

void ActivityIndicator::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = qMin(width(), height());
    painter.translate(width() / 2.0, height() / 2.0);
    QPen pen(color_, side / 10.0, Qt::SolidLine, Qt::RoundCap);
    for (int spoke = 0; spoke < kSpokes; ++spoke) {
        // The newest spoke is brightest; the others fade behind it.
        QColor faded = color_;
        faded.setAlphaF(0.25 + 0.75 * double((spoke - step_ + kSpokes) % kSpokes) / (kSpokes - 1));
        pen.setColor(faded);
        painter.setPen(pen);
        painter.drawLine(QPointF(0, side * 0.22), QPointF(0, side * 0.45));
        painter.rotate(360.0 / kSpokes);
    }
}

}  // namespace Velmora::Platform
