#include "ModalTransition.h"

#include <QPainter>

namespace Velmora::Platform {

ModalTransition::ModalTransition(QWidget *host, QPixmap from, QPixmap to, int style,
                                 Direction direction, std::function<void()> done)
    : QWidget(host),
      from_(std::move(from)),
      to_(std::move(to)),
      style_(style),
      direction_(direction),
      done_(std::move(done))
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setGeometry(host->rect());
    animation_.setStartValue(0.0);
    animation_.setEndValue(1.0);
    animation_.setDuration(kDurationMs);
    animation_.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&animation_, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
    connect(&animation_, &QVariantAnimation::finished, this, &ModalTransition::finish);
    show();
    raise();
    animation_.start();
}

void ModalTransition::finish()
{
    if (!done_)
        return;
    animation_.stop();
    hide();
    deleteLater();
    const auto done = std::move(done_);
    done_ = nullptr;
    done();
}

void ModalTransition::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    const double t = animation_.currentValue().toDouble();
    switch (style_) {
    case FlipHorizontal:
        paintFlipHorizontal(painter, t);
        break;
    case CrossDissolve:
        paintCrossDissolve(painter, t);
        break;
    default:
        paintCoverVertical(painter, t);
        break;
    }
}

void ModalTransition::paintCoverVertical(QPainter &painter, double t)
{
    // The presented screen is the one that moves: up when it arrives, down when it leaves.
    const double h = height();
    if (direction_ == Presenting) {
        painter.drawPixmap(QPointF(0, 0), from_);
        painter.drawPixmap(QPointF(0, (1.0 - t) * h), to_);
    } else {
        painter.drawPixmap(QPointF(0, 0), to_);
        painter.drawPixmap(QPointF(0, t * h), from_);
    }
}

void ModalTransition::paintFlipHorizontal(QPainter &painter, double t)
{
    // A card turning about the vertical axis: the old face narrows to an edge,
    // then the new one widens from it. Only a face drawn narrower needs smooth
    // sampling; at full size it changes no more than a blend's rounding, at
    // twice the cost and handed to helper threads.
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const bool firstHalf = t < 0.5;
    const double widthFactor = firstHalf ? 1.0 - 2.0 * t : 2.0 * t - 1.0;
    const QPixmap &face = firstHalf ? from_ : to_;
    const double w = width() * widthFactor;
    painter.drawPixmap(QRectF((width() - w) / 2.0, 0, w, height()), face,
                       QRectF(QPointF(0, 0), face.size()));
}

void ModalTransition::paintCrossDissolve(QPainter &painter, double t)
{
    painter.drawPixmap(QPointF(0, 0), from_);
    painter.setOpacity(t);
    painter.drawPixmap(QPointF(0, 0), to_);
}

}  // namespace Velmora::Platform
