#include "BannerPlacement.h"
#include "Touch.h"

#include "Artwork.h"
#include "Geometry.h"
#include "Over.h"
#include "Random.h"
#include "RoundClock.h"
#include "SpriteLayer.h"
#include "TickOutput.h"
#include "Timer.h"
#include "ViewGeometry.h"
#include "ui_Touch.h"

using namespace Velmora::Platform;

namespace {

// Shared by every play screen of the process, so a later round inherits a pause.
bool paused = false;
// Kept for the record: set when a play screen loads, read by nobody.
bool viewLoaded = false;

const QRectF kParked(-500, 0, 0, 0);
const QRectF kTaken(0, 0, 0, 0);
constexpr int kTicksPerSpawn = 200;
constexpr double kPickupSide = 50;
constexpr double kHideSeconds = 20.0;
const QSizeF kField(320, 480);

// A whole number of seconds in [0, modulus), as the pick-up timers use.
double randomSeconds(uint32_t modulus)
{
    return double(Random::arc4random() % modulus);
}

}  // namespace

Touch::Touch(QObject *parent)
    : FormViewController(parent)
{
}

Touch::~Touch()
{
    RoundClock::forget(this);
}

void Touch::loadView()
{
    FormViewController::loadView();
    one = ui->one;
    image2 = ui->image2;
    invisibleBall = ui->invisibleBall;
    plusScore = ui->plusScore;
    subScore = ui->subScore;
    invinciBall = ui->invinciBall;
    starting = ui->starting;
    power = ui->power;
    lab = ui->lab;
}

void Touch::viewDidLoad()
{
    ViewController::viewDidLoad();
    bannerView_ = BannerPlacement::place(this);
    images.clear();
    images.reserve(20);
    // Over everything else on the screen, the banner included, as ball views were.
    sprites_ = new SpriteLayer(images, Artwork::imageNamed(QStringLiteral("BallSmall_yellow.png")), view());
    kTime = 0;
    viewLoaded = true;
    addBall(QPointF(0, kField.height()), QPointF(14, 7));
    parkPickups();
    schedulePickupTimers();
}

void Touch::viewWillAppear(bool animated)
{
    FormViewController::viewWillAppear(animated);
    covered_ = false;
    RoundClock::shared()->uncover(this);
}

// A placement that the next one overwrites before anyone sees it keeps only its random draws.
void Touch::viewDidDisappear(bool animated)
{
    FormViewController::viewDidDisappear(animated);
    covered_ = true;
    std::vector<RoundClock::Lane> lanes;
    for (const Repeating &each : std::as_const(repeating_)) {
        std::function<void()> skip;
        if (each.placesPickup)
            skip = [] { drawPickupFrame(); };
        lanes.push_back({each.timer, [this, action = each.action] { (this->*action)(); }, skip});
    }
    RoundClock::shared()->cover(this, lanes);
}

void Touch::startCount()
{
    starting->setVisible(false);
    mainInt = 0;
    repeat(kMotionInterval, &Touch::onTimer, false);
    repeat(1.0, &Touch::tick, false);
    randomMain = repeat(1.0, &Touch::randomMainVoid, false);
}

void Touch::onTimer()
{
    if (paused)
        return;
    ++kTime;
    TickOutput::print(kTime);
    if (kTime == kTicksPerSpawn) {
        kTime = 0;
        spawnBall();
    }
    // Presenting the game-over screen must not add or remove balls: the loop
    // walks the list in place. Every covered round runs this loop too, over
    // balls that only ever grow in number, so it is arithmetic on values and
    // the player's frame is read once.
    const QRectF player = ViewGeometry::frame(one);
    for (Ball &ball : images) {
        if (Geometry::rectIntersectsRect(player, ball.frame()))
            presentGameOver();
        ball.move(kField);
    }
    repaintBalls();
}

void Touch::tick()
{
    ++score;
}

void Touch::randomMainVoid()
{
    ++mainInt;
    showScore();
}

// The ball jumps to the finger: no drag offset, no clamping to the field.
void Touch::touchesBegan(const QList<TouchPoint> &, const TouchEvent &event)
{
    if (event.allTouches().isEmpty())
        return;
    const TouchPoint &touch = event.allTouches().first();
    ViewGeometry::setCenter(one, touch.locationInView(touch.view()));
    checkcollision();
}

void Touch::touchesMoved(const QList<TouchPoint> &touches, const TouchEvent &event)
{
    touchesBegan(touches, event);
}

void Touch::checkcollision()
{
    if (touchesPlayer(invisibleBall)) {
        one->setVisible(false);
        invisibleBall->setVisible(false);
        ViewGeometry::setFrame(invisibleBall, kTaken);
        Timer::scheduledTimerWithTimeInterval(kHideSeconds, this, &Touch::showInvisi, {}, false);
    }
    if (touchesPlayer(plusScore)) {
        takePickup(plusScore);
        mainInt += 10;
        showScore();
    }
    if (touchesPlayer(subScore)) {
        takePickup(subScore);
        mainInt -= 5;
        showScore();
    }
}

void Touch::kk()
{
    paused = true;
    images.clear();
    repaintBalls();
}

void Touch::alertViewDidDismissWithButtonIndex(QObject *, int)
{
    paused = false;
    spawnBall();
}

void Touch::powerupLabel()
{
    power->setVisible(false);
}

void Touch::showPlus()
{
    placePickup(plusScore);
}

void Touch::showMinus()
{
    placePickup(subScore);
}

void Touch::showBall()
{
    placePickup(invisibleBall);
}

void Touch::showInvisi()
{
    one->setVisible(true);
}

const QPixmap &Touch::ballSprite()
{
    return sprites()->sprite();
}

// A ball may come before anyone showed the screen (an alert's delegate call):
// the screen is loaded then, and its sprite layer with it.
SpriteLayer *Touch::sprites()
{
    view();
    return sprites_;
}

// A covered round's layer paints nothing; not asking it spares a look at every round's widget each tick.
void Touch::repaintBalls()
{
    if (sprites_ && !covered_)
        sprites_->refresh();
}

void Touch::addBall(QPointF centre, QPointF velocity)
{
    images.append(Ball(sprites()->sprite().deviceIndependentSize(), centre, velocity));
    sprites_->refresh();
}

void Touch::spawnBall()
{
    const double x = 10 + Random::arc4random() % 300;
    const float speedX = float(5.5 + Random::arc4random() % 10);
    const float speedY = float(4.5 + Random::arc4random() % 7);
    addBall(QPointF(x, kField.height()), QPointF(speedX, speedY));
}

void Touch::presentGameOver()
{
    // A second ball in the same tick asks again, and so does every ball that
    // crosses the player's ball under the game-over screen: the screen
    // already shown wins, and a covered round builds nothing for it.
    if (modalViewController())
        return;
    auto *over = new Over;
    over->setScoreInt(mainInt);
    over->setModalTransitionStyle(ViewController::CrossDissolve);
    presentModalViewController(over, true);
}

void Touch::parkPickups()
{
    ViewGeometry::setFrame(plusScore, kParked);
    ViewGeometry::setFrame(invisibleBall, kParked);
    ViewGeometry::setFrame(subScore, kParked);
}

void Touch::schedulePickupTimers()
{
    invisibleBall->setVisible(false);
    repeat(randomSeconds(20), &Touch::showBall, true);
    subScore->setVisible(false);
    repeat(randomSeconds(36), &Touch::showMinus, true);
    plusScore->setVisible(false);
    repeat(randomSeconds(60), &Touch::showPlus, true);
}

Timer *Touch::repeat(double seconds, void (Touch::*action)(), bool placesPickup)
{
    Timer *timer = Timer::scheduledTimerWithTimeInterval(seconds, this, action, {}, true);
    repeating_.append({timer, action, placesPickup});
    return timer;
}

// A pick-up may hang past the right or bottom edge: its origin is its top-left corner.
void Touch::placePickup(QLabel *pickup)
{
    ViewGeometry::setFrame(pickup, drawPickupFrame());
    pickup->setVisible(true);
}

QRectF Touch::drawPickupFrame()
{
    const float x = float(Random::arc4random() % 320);
    const float y = float(Random::arc4random() % 480);
    return QRectF(x, y, kPickupSide, kPickupSide);
}

// Hiding the player's ball is only visual: its frame still counts.
bool Touch::touchesPlayer(const QWidget *other) const
{
    return Geometry::rectIntersectsRect(ViewGeometry::frame(one), ViewGeometry::frame(other));
}

void Touch::takePickup(QLabel *pickup)
{
    one->setVisible(true);
    pickup->setVisible(false);
    ViewGeometry::setFrame(pickup, kTaken);
}

void Touch::showScore()
{
    lab->setText(QString::asprintf("%d", mainInt));
}
