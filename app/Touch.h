#pragma once

#include "Ball.h"
#include "FormViewController.h"

#include <QList>
#include <QPointer>
#include <QPointF>
#include <QRectF>

class QLabel;
class QPixmap;
class QPushButton;
class SpriteLayer;
class TSKBannerView;
namespace Velmora::Platform {
class Timer;
}

namespace Ui {
class Touch;
}

// The play screen: the player's ball, the bouncing yellow balls, the score and
// the three pick-ups. Its timers are never stopped; they keep it alive.
class Touch : public FormViewController<Ui::Touch>
{
    Q_OBJECT
public:
    // Seconds between motion ticks.
    static constexpr double kMotionInterval = 0.05;

    explicit Touch(QObject *parent = nullptr);
    ~Touch() override;

    void loadView() override;
    void viewDidLoad() override;
    // Covered, the round runs on the clock of covered rounds; back on top, on its own timers.
    void viewWillAppear(bool animated) override;
    void viewDidDisappear(bool animated) override;
    void touchesBegan(const QList<Velmora::Platform::TouchPoint> &touches, const Velmora::Platform::TouchEvent &event) override;
    void touchesMoved(const QList<Velmora::Platform::TouchPoint> &touches, const Velmora::Platform::TouchEvent &event) override;

    void checkcollision();
    void alertViewDidDismissWithButtonIndex(QObject *alertView, int buttonIndex);

    // The moving balls, oldest first. Moved by hand, they are painted where
    // they are on the next motion tick.
    const QList<Ball> &balls() const { return images; }
    QList<Ball> &balls() { return images; }
    // The one image every ball of every round shows.
    const QPixmap &ballSprite();

public slots:
    void startCount();
    void onTimer();
    void tick();
    void randomMainVoid();
    void kk();
    void powerupLabel();
    void showPlus();
    void showMinus();
    void showBall();
    void showInvisi();

private:
    SpriteLayer *sprites();
    void repaintBalls();
    void addBall(QPointF centre, QPointF velocity);
    void spawnBall();
    void presentGameOver();
    void parkPickups();
    void schedulePickupTimers();
    void placePickup(QLabel *pickup);
    static QRectF drawPickupFrame();
    Velmora::Platform::Timer *repeat(double seconds, void (Touch::*action)(), bool placesPickup);
    bool touchesPlayer(const QWidget *view) const;
    void takePickup(QLabel *pickup);
    void showScore();

    // The declared state of the screen; outlets point into `ui`.
    int kTime = 0;
    QLabel *one = nullptr;
    QLabel *image2 = nullptr;
    QList<Ball> images;
    QPointF pos;
    int score = 0;
    QList<Ball> image;
    QLabel *invisibleBall = nullptr;
    QLabel *plusScore = nullptr;
    QLabel *subScore = nullptr;
    QLabel *invinciBall = nullptr;
    QPushButton *starting = nullptr;
    QLabel *power = nullptr;
    int mainInt = 0;
    QLabel *lab = nullptr;
    Velmora::Platform::Timer *randomMain = nullptr;
    int scoreInteger = 0;
    Velmora::Platform::Timer *invisi = nullptr;
    QPointF *poss = nullptr;
    TSKBannerView *bannerView_ = nullptr;
    SpriteLayer *sprites_ = nullptr;
    // The repeating timers and what they do, handed to the clock of covered
    // rounds while the screen is covered.
    struct Repeating {
        QPointer<Velmora::Platform::Timer> timer;
        void (Touch::*action)();
        bool placesPickup;
    };
    QList<Repeating> repeating_;
    bool covered_ = false;
};
