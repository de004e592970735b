#pragma once

#include <QBasicTimer>
#include <QColor>
#include <QWidget>

namespace Velmora::Platform {

// The small spinning wheel that says "loading": twelve spokes, one bright,
// turning while animating; hidden when stopped.
class ActivityIndicator : public QWidget
{
    Q_OBJECT
public:
    enum Style { WhiteLarge = 0, White = 1, Gray = 2 };

    explicit ActivityIndicator(Style style = White, QWidget *parent = nullptr);

    void startAnimating();
    void stopAnimating();
    bool isAnimating() const { return timer_.isActive(); }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

private:
    static constexpr int kSpokes = 12;

    QColor color_;
    QBasicTimer timer_;
    int step_ = 0;
};

}  // namespace Velmora::Platform
