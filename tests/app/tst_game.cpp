#include "Application.h"
#include "ArcadeStyle.h"
#include "GameStage.h"
#include "Over.h"
#include "Privacy.h"
#include "Privacy/AdvertisingIdentifier.h"
#include "PrivacyChoice.h"
#include "RoundClock.h"
#include "TestMain.h"
#include "UserDefaults.h"
#include "VelmoraAppDelegate.h"
#include "VelmoraViewController.h"

#include <VelmoraAds/PrivacySettings.h>

#include <QApplication>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollArea>
#include <QStyleFactory>
#include <QTemporaryFile>
#include <QTextBlock>
#include <QTextDocument>
#include <cstdio>
#include <random>
#include <unistd.h>

using namespace Velmora::Platform;

namespace {

// What the code under test writes to standard output while `work` runs.
QByteArray captureStdout(const std::function<void()> &work)
{
    QTemporaryFile file;
    const int saved = (std::fflush(stdout), dup(STDOUT_FILENO));
    if (file.open() && dup2(file.handle(), STDOUT_FILENO) >= 0)
        work();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    return file.seek(0) ? file.readAll() : QByteArray();
}

QPushButton *button(ViewController *screen, const char *name)
{
    return screen ? screen->view()->findChild<QPushButton *>(QLatin1String(name)) : nullptr;
}

// Clicks the button and returns what the screen presented, if of that class and transition.
ViewController *presented(ViewController *screen, const char *name, const char *screenClass, int style)
{
    QPushButton *control = button(screen, name);
    if (!control)
        return nullptr;
    control->click();
    screen->finishTransition();
    ViewController *shown = screen->modalViewController();
    return shown && shown->inherits(screenClass) && shown->modalTransitionStyle() == style ? shown : nullptr;
}

// Ends a round the way the game does: a ball meets the player's ball.
ViewController *loseRound(ViewController *screen)
{
    auto *round = qobject_cast<Touch *>(screen);
    if (!round)
        return nullptr;
    round->balls().first().setCenter(ViewGeometry::center(round->view()->findChild<QWidget *>("one")));
    round->onTimer();
    round->finishTransition();
    return qobject_cast<Over *>(round->modalViewController());
}

// The game as launched with the arguments, its menu on screen.
std::unique_ptr<VelmoraAppDelegate> launch(const QStringList &arguments)
{
    GameOptions options;
    options.parse(QStringList{"velmora"} + arguments);
    auto game = std::make_unique<VelmoraAppDelegate>(options);
    game->applicationDidFinishLaunchingWithOptions(Application::shared(), {});
    return game;
}

// The pixmaps a label's rich text shows, in order.
QList<qint64> imagesOfRichText(const QString &html)
{
    QTextDocument document;
    document.setHtml(html);
    QList<qint64> images;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto fragment = block.begin(); !fragment.atEnd(); ++fragment) {
            const QTextImageFormat image = fragment.fragment().charFormat().toImageFormat();
            if (image.isValid())
                images << document.resource(QTextDocument::ImageResource, QUrl(image.name())).value<QPixmap>().cacheKey();
        }
    }
    return images;
}

using Clock = Timer::Clock;
constexpr auto kTick = std::chrono::milliseconds(50);

// A started round drawing from a seeded stream, whose repeating timers fire
// at known times from `base`, apart by fractions of a millisecond, so their
// order is fixed.
void startAt(RoundStage &stage, std::mt19937 &generator, Clock::time_point base)
{
    generator.seed(29);
    Random::setSource([&generator] { return uint32_t(generator()); });
    stage.parkPlayer();
    stage.round->startCount();
    std::chrono::microseconds offset(0);
    for (Timer *timer : stage.timers()) {
        timer->setFireDate(base + std::chrono::milliseconds(timer->intervalMs()) + (offset += std::chrono::microseconds(100)));
    }
}

// What a player could tell of the round: score, pick-ups and balls.
QString lookOf(const RoundStage &stage)
{
    QString look = stage.label("lab")->text();
    for (const char *pickup : {"invisibleBall", "subScore", "plusScore"}) {
        const QRectF frame = ViewGeometry::frame(stage.label(pickup));
        look += QString::asprintf(" %s(%g,%g,%g)", pickup, frame.x(), frame.y(), frame.width());
    }
    for (const Ball &ball : std::as_const(*stage.round).balls())
        look += QString::asprintf(" (%g,%g %g,%g)", ball.center().x(), ball.center().y(), ball.pos().x(), ball.pos().y());
    return look;
}

// Fires the timers one call at a time, earliest first, as the platform's queue does.
void fireInTurnUntil(const QList<Timer *> &timers, Clock::time_point until)
{
    for (;;) {
        Timer *next = nullptr;
        for (Timer *timer : timers) {
            if (timer->fireDate() <= until && (!next || timer->fireDate() < next->fireDate()))
                next = timer;
        }
        if (!next)
            return;
        next->setFireDate(next->fireDate() + std::chrono::milliseconds(next->intervalMs()));
        next->fire();
    }
}

}  // namespace

class TestGame : public QObject
{
    Q_OBJECT
private slots:
    void privacyIsAskedOnceAndChangedFromTheMenu()
    {
        UserDefaults::standard().removeObjectForKey("PersonalisedAds");
        Velmora::Ads::PrivacySettings *privacy = Velmora::Ads::PrivacySettings::instance();
        // The first launch asks over the menu, and only an answer leaves.
        const auto first = launch({});
        VelmoraViewController *menu = first->viewController();
        auto *question = qobject_cast<Privacy *>(menu->modalViewController());
        QVERIFY(question);
        QVERIFY(button(question, "backButton")->isHidden() && button(question, "resetButton")->isHidden());
        presented(question, "personalisedButton", "", 0);
        QVERIFY(!menu->modalViewController());
        QCOMPARE(PrivacyChoice::stored(), std::optional<bool>(true));
        QVERIFY(privacy->personalisedAdsAllowed());
        // Later launches go by the kept answer; the command line answers for its run alone.
        privacy->setPersonalisedAdsAllowed(false);
        QVERIFY(!launch({})->viewController()->modalViewController());
        QVERIFY(privacy->personalisedAdsAllowed());
        QVERIFY(!launch({"--privacy", "non-personalised"})->viewController()->modalViewController());
        QVERIFY(!privacy->personalisedAdsAllowed());
        QCOMPARE(PrivacyChoice::stored(), std::optional<bool>(true));

        // From the menu: the answer in force is marked, the identifier resets, a new answer is kept.
        privacy->setPersonalisedAdsAllowed(true);
        ViewController *screen = presented(menu, "privacyButton", "Privacy", ViewController::FlipHorizontal);
        QVERIFY(screen);
        QVERIFY(!button(screen, "backButton")->isHidden());
        QCOMPARE(button(screen, "personalisedButton")->property("accent"), QVariant(true));
        const QByteArray identifier = Velmora::Ads::AdvertisingIdentifier::shared().bytes();
        button(screen, "resetButton")->click();
        QVERIFY(Velmora::Ads::AdvertisingIdentifier::shared().bytes() != identifier);
        presented(screen, "nonPersonalisedButton", "", 0);
        QVERIFY(!menu->modalViewController());
        QCOMPARE(PrivacyChoice::stored(), std::optional<bool>(false));
        screen = presented(menu, "privacyButton", "Privacy", ViewController::FlipHorizontal);
        QVERIFY(!button(screen, "resetButton")->isEnabled());
    }

    // The information screens go back to the menu; rounds and game overs stack on it without end.
    void screensReturnToTheMenuOrStackOnIt()
    {
        Window window;
        VelmoraViewController menu;
        window.addSubview(menu.view());
        for (const auto &[button, screen] : {std::pair("howToPlay", "Instructions"), std::pair("aboutButton", "About")}) {
            ViewController *shown = presented(&menu, button, screen, ViewController::FlipHorizontal);
            QVERIFY2(shown, button);
            QVERIFY(menu.view()->isHidden());
            const auto *scroller = shown->view()->findChild<QScrollArea *>("scroller");
            QVERIFY(shown->inherits("About") || (scroller && scroller->widget()->size() == QSize(320, 480)));
            presented(shown, "backButton", "", 0);  // dismisses itself, presents nothing
            QVERIFY(!menu.modalViewController() && !menu.view()->isHidden());
        }
        QList<QPointer<ViewController>> stack{&menu, presented(&menu, "play", "Touch", ViewController::FlipHorizontal)};
        for (int retry = 0; retry < 3; ++retry) {
            stack << loseRound(stack.last());
            stack << presented(stack.last(), "retryButton", "Touch", ViewController::CrossDissolve);
        }
        stack << loseRound(stack.last());
        stack << presented(stack.last(), "menuButton", "VelmoraViewController", ViewController::FlipHorizontal);
        // Every screen is still there, each presented by the one below it; only the top shows.
        for (int i = 1; i < stack.size(); ++i) {
            QVERIFY2(stack[i], qPrintable(QString::number(i)));
            QCOMPARE(stack[i]->parentViewController(), stack[i - 1].data());
            QVERIFY(stack[i - 1]->view()->isHidden());
        }
        QVERIFY(!stack.last()->view()->isHidden());
        // However many screens stack, each image exists once: the rounds' fields are one pixmap.
        // So are the start hint's three icons, though rich text reads them.
        QSet<qint64> fields, balls, hintIcons;
        for (const QPointer<ViewController> &screen : stack) {
            if (auto *round = qobject_cast<Touch *>(screen)) {
                fields << round->view()->findChild<QLabel *>("image2")->pixmap().cacheKey();
                balls << round->ballSprite().cacheKey();
                for (const qint64 icon : imagesOfRichText(round->view()->findChild<QLabel *>("power")->text()))
                    hintIcons << icon;
            }
        }
        QCOMPARE(fields.size(), 1);
        QCOMPARE(balls.size(), 1);
        QCOMPARE(hintIcons.size(), 3);
        QVERIFY(!hintIcons.contains(QPixmap().cacheKey()));
    }

    // Tick lines reach standard output while a round runs, and share it with the round lines.
    void autoplayPlaysRoundsThroughTheWindowAndQuits()
    {
        QProcess game;
        game.start(VELMORA_BINARY, {"--autoplay", "2", "--round-limit", "1"});
        QByteArray early;
        while (early.count('\n') < 5 && game.waitForReadyRead(20000))
            early += game.readAllStandardOutput();
        QVERIFY2(early.startsWith("1\n2\n3\n4\n5\n") && !early.contains("round"), early.constData());
        QVERIFY(game.waitForFinished(60000));
        QCOMPARE(game.exitStatus(), QProcess::NormalExit);
        QCOMPARE(game.exitCode(), 0);
        QStringList rounds = QString::fromUtf8(early + game.readAllStandardOutput()).split(u'\n')
                                 .filter(QRegularExpression(R"(^round \d+: score -?\d+, \d+\.\d s$)"));
        for (QString &line : rounds)
            line = line.section(u':', 0, 0);
        QCOMPARE(rounds, QStringList({"round 1", "round 2"}));
        // Each round's motion timer periods, for the benchmarks that read them.
        const QString errors = QString::fromUtf8(game.readAllStandardError());
        QVERIFY2(errors.contains(QRegularExpression(R"(round 1 tick periods \(ms\):( \d+\.\d)+\n)")), qPrintable(errors));
    }

    void spawnsEvery200TicksAtTheBottomEdgeAndPrintsTheCount()
    {
        RoundStage stage;
        stage.parkPlayer();
        // Extremes of the ranges: x 309 with the slowest speeds, then x 10 with the fastest.
        stage.random.push({299, 0, 0, 300, 9, 6});
        QVERIFY(captureStdout([&] { stage.ticks(199); }).endsWith("198\n199\n"));
        QCOMPARE(stage.round->balls().size(), 1);
        QCOMPARE(captureStdout([&] { stage.ticks(2); }), QByteArray("200\n1\n"));
        QCOMPARE(stage.round->balls().size(), 2);
        // Spawned at (309, 480) and moved twice: below the edge after the first, so it turned upwards.
        const Ball second = stage.round->balls().at(1);
        QCOMPARE(second.center(), QPointF(309 + 11.0, 480));
        QCOMPARE(second.pos(), QPointF(5.5, -4.5));
        stage.ticks(199);
        QCOMPARE(stage.round->balls().size(), 3);
        const Ball third = stage.round->balls().at(2);
        QCOMPARE(third.center(), QPointF(10 + 14.5, 480 + 10.5));
        QCOMPARE(third.pos(), QPointF(14.5, -10.5));
    }

    void bouncesOnlyOnceTheCentreIsPastAnEdge_data()
    {
        QTest::addColumn<QList<QPointF>>("centreVelocityMovedToVelocityAfter");
        auto row = [](const char *name, QList<QPointF> points) { QTest::newRow(name) << points; };
        row("right edge exactly", {{306, 100}, {14, 7}, {320, 107}, {14, 7}});
        row("past right", {{310, 100}, {14, 7}, {324, 107}, {-14, 7}});
        row("left edge exactly", {{14, 100}, {-14, 7}, {0, 107}, {-14, 7}});
        row("past left", {{10, 100}, {-14, 7}, {-4, 107}, {14, 7}});
        row("bottom edge exactly", {{100, 473}, {14, 7}, {114, 480}, {14, 7}});
        row("past bottom", {{100, 475}, {14, 7}, {114, 482}, {14, -7}});
        row("top edge exactly", {{100, 5}, {14, -5}, {114, 0}, {14, -5}});
        row("past top", {{100, 4}, {14, -5}, {114, -1}, {14, 5}});
        row("past a corner", {{315, 478}, {6.5, 4.5}, {321.5, 482.5}, {-6.5, -4.5}});
    }

    void bouncesOnlyOnceTheCentreIsPastAnEdge()
    {
        QFETCH(QList<QPointF>, centreVelocityMovedToVelocityAfter);
        const QList<QPointF> &points = centreVelocityMovedToVelocityAfter;
        RoundStage stage;
        stage.parkPlayer();
        Ball &ball = stage.round->balls().first();
        ball.setCenter(points[0]);
        ball.setPos(points[1]);
        stage.ticks(1);
        QCOMPARE(ball.center(), points[2]);
        QCOMPARE(ball.pos(), points[3]);
    }

    // Balls are painted where their frames are, over the screen; a pause
    // takes them away and stops motion and spawning in every round.
    void pauseStopsMotionAndSpawningOfEveryRound()
    {
        RoundStage stage;
        stage.parkPlayer();
        QWidget *view = stage.round->view();
        const QImage sprite = stage.round->ballSprite().toImage();
        const QColor ballColour = sprite.pixelColor(sprite.width() / 2, sprite.height() / 2);
        auto colourAt = [view](QPointF point) { return view->grab().toImage().pixelColor(point.toPoint()); };
        // Over the start button, as the ball views were.
        Ball &ball = stage.round->balls().first();
        ball.setCenter(QPointF(160, 240));
        ball.setPos(QPointF(-40, 0));
        const QColor underneath = colourAt(QPointF(120, 240));
        QVERIFY(underneath != ballColour);
        stage.ticks(1);
        QCOMPARE(colourAt(QPointF(120, 240)), ballColour);
        QVERIFY(colourAt(QPointF(160, 240)) != ballColour);
        stage.ticks(149);
        stage.round->kk();
        QVERIFY(stage.round->balls().isEmpty());
        QCOMPARE(colourAt(QPointF(120, 240)), underneath);
        stage.ticks(400);
        QVERIFY(stage.round->balls().isEmpty());
        // The pause is shared: a later round's first ball stands still too.
        RoundStage later;
        later.parkPlayer();
        const Ball &waiting = std::as_const(*later.round).balls().first();
        later.ticks(5);
        QCOMPARE(waiting.center(), QPointF(0, 480));
        // Resuming adds one ball; the spawn counter went on from 150, not from 550.
        later.random.push({100, 0, 0});  // the newest script is the one installed
        stage.round->alertViewDidDismissWithButtonIndex(nullptr, 0);
        QCOMPARE(stage.round->balls().size(), 1);
        QCOMPARE(stage.round->balls().first().center(), QPointF(110, 480));
        stage.ticks(49);
        QCOMPARE(stage.round->balls().size(), 1);
        stage.ticks(1);
        QCOMPARE(stage.round->balls().size(), 2);
        later.ticks(1);
        QCOMPARE(waiting.center(), QPointF(14, 487));
        // Resuming a round nobody has shown yet loads it first, as showing it would.
        Touch unseen;
        unseen.alertViewDidDismissWithButtonIndex(nullptr, 0);
        QCOMPARE(unseen.balls().size(), 2);
    }

    // Covered, a round's timers wait while one clock runs their firings in a
    // pass every tick, placing a pick-up nobody sees once: what it prints and
    // shows at every tick is what firing each timer in turn gives, spawns
    // and 1 ms pick-ups drawing from the same seeded numbers.
    void aCoveredRoundRunsAsItsTimersWould()
    {
        const Clock::time_point base = Clock::now() + std::chrono::hours(1);  // never reached by real time
        constexpr int kTicks = 420;
        std::mt19937 generator;
        QStringList inTurn, covered;
        RoundStage reference({40, 37, 62});  // pick-ups every 1 ms, 1 s and 2 s
        startAt(reference, generator, base);
        const QList<Timer *> timers = reference.timers();
        const QByteArray referenceLines = captureStdout([&] {
            for (int tick = 1; tick <= kTicks; ++tick) {
                fireInTurnUntil(timers, base + tick * kTick + std::chrono::microseconds(500));
                inTurn << lookOf(reference);
            }
        });

        RoundStage stage({40, 37, 62});
        startAt(stage, generator, base);
        stage.round->presentModalViewController(new ViewController, false);
        QVERIFY(RoundClock::shared()->isCovered(stage.round.get()));
        for (Timer *timer : stage.timers())
            QCOMPARE(timer->fireDate(), Timer::kDistantFuture);
        const QByteArray coveredLines = captureStdout([&] {
            for (int tick = 1; tick <= kTicks; ++tick) {
                RoundClock::shared()->advance(base + tick * kTick + std::chrono::microseconds(500));
                covered << lookOf(stage);
            }
        });
        QCOMPARE(coveredLines, referenceLines);
        QCOMPARE(coveredLines.count('\n'), kTicks);
        QCOMPARE(stage.round->balls().size(), 3);
        QCOMPARE(covered, inTurn);

        // Back on top, the round's own timers run again from its next tick on.
        stage.round->dismissModalViewControllerAnimated(false);
        QVERIFY(!RoundClock::shared()->isCovered(stage.round.get()));
        const QList<Timer *> back = stage.timers();
        QCOMPARE(back.size(), timers.size());
        for (int i = 0; i < back.size(); ++i)
            QCOMPARE(back[i]->fireDate(), timers[i]->fireDate());
    }

    void pickupsComeAtRandomAndTheStartResetsTheScore()
    {
        // Placer intervals in whole seconds: hide 40 mod 20 = 0, minus 37 mod 36 = 1, plus 119 mod 60 = 59.
        RoundStage stage({40, 37, 119});
        const QList<Timer *> timers = stage.timers();
        QCOMPARE(timers.size(), 3);
        QCOMPARE(QList<double>({timers[0]->timeInterval(), timers[1]->timeInterval(), timers[2]->timeInterval()}),
                 QList<double>({0, 1, 59}));
        QCOMPARE(timers[0]->intervalMs(), Timer::kMinimumIntervalMs);  // zero runs as fast as a timer can
        // Each firing places the pick-up anew, top-left corner anywhere on the field.
        stage.random.push({319, 479, 320 + 5, 480 + 7});
        timers[0]->fire();
        QCOMPARE(ViewGeometry::frame(stage.label("invisibleBall")), QRectF(319, 479, 50, 50));
        QVERIFY(!stage.label("invisibleBall")->isHidden());
        timers[0]->fire();
        QCOMPARE(ViewGeometry::frame(stage.label("invisibleBall")), QRectF(5, 7, 50, 50));
        stage.window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&stage.window));
        QWindow *window = stage.window.windowHandle();
        auto at = [&](int x, int y) { return stage.round->view()->mapTo(&stage.window, QPoint(x, y)); };
        // Pressed on the hint panel and dragged over the field: the ball follows.
        QTest::mousePress(window, Qt::LeftButton, {}, at(160, 330));
        QCOMPARE(ViewGeometry::center(stage.player()), QPointF(160, 330));
        stage.random.push({100, 200});
        stage.round->showPlus();
        QTest::mouseMove(window, at(125, 225));
        QCOMPARE(ViewGeometry::center(stage.player()), QPointF(125, 225));
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("10"));
        QVERIFY(stage.label("plusScore")->isHidden());
        QCOMPARE(ViewGeometry::frame(stage.label("plusScore")), QRectF(0, 0, 0, 0));
        // Three minus pick-ups take the score below zero.
        for (int i = 1; i <= 3; ++i) {
            stage.random.push({100, 200});
            stage.round->showMinus();
            QTest::mouseMove(window, at(125 + i, 225));
            QVERIFY(stage.label("subScore")->isHidden());
            QCOMPARE(ViewGeometry::frame(stage.label("subScore")), QRectF(0, 0, 0, 0));
        }
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("-5"));
        // A drag that leaves the window stays on the screen's border, as a finger does.
        QTest::mouseMove(window, at(400, 600));
        QCOMPARE(ViewGeometry::center(stage.player()), QPointF(320, 480));
        QTest::mouseMove(window, at(-30, 100));
        QCOMPARE(ViewGeometry::center(stage.player()), QPointF(0, 100));
        // The round starts from zero whatever was taken before: one second later the score is 1.
        stage.round->startCount();
        QVERIFY(stage.round->view()->findChild<QWidget *>("starting")->isHidden());
        stage.round->randomMainVoid();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("1"));
    }

    void takenPickupsHidesAndTheHiddenPlayersGameOver()
    {
        RoundStage stage;
        stage.random.push({200, 200});
        stage.round->showPlus();
        stage.movePlayer(QPointF(182, 225));  // touching edges count: the player's right edge is exactly x 200
        stage.round->checkcollision();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("10"));
        // The taken pick-up is a hidden point at (0, 0): a player covering the
        // corner takes it again on every check.
        stage.movePlayer(QPointF(10, 10));
        stage.round->checkcollision();
        stage.round->checkcollision();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("30"));
        stage.movePlayer(QPointF(19, 19));
        stage.round->checkcollision();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("30"));
        stage.movePlayer(QPointF(125, 225));
        for (int take = 0; take < 2; ++take) {
            stage.random.push({100, 200});
            stage.round->showBall();
            stage.round->checkcollision();
            QVERIFY(stage.player()->isHidden());
            QCOMPARE(ViewGeometry::frame(stage.label("invisibleBall")), QRectF(0, 0, 0, 0));
        }
        QList<Timer *> reveals = stage.timers();
        reveals.removeIf([](Timer *timer) { return timer->repeats(); });
        QCOMPARE(reveals.size(), 2);
        QCOMPARE(reveals[0]->timeInterval(), 20.0);
        reveals[0]->fire();  // the first reveal shows the player although the second hide is younger
        QVERIFY(!stage.player()->isHidden());
        reveals[1]->fire();
        QVERIFY(!stage.player()->isHidden());
        stage.random.push({100, 200, 100, 200, 100, 200});
        stage.round->showBall();
        stage.round->checkcollision();
        QVERIFY(stage.player()->isHidden());
        stage.round->showPlus();  // a plus ends a hide at once
        stage.round->checkcollision();
        QVERIFY(!stage.player()->isHidden());
        // A hidden player still collides; two balls on it in one tick, and again
        // in the next, present one game over while the round goes on underneath.
        stage.round->showBall();
        stage.round->checkcollision();
        QVERIFY(stage.player()->isHidden());
        stage.round->alertViewDidDismissWithButtonIndex(nullptr, 0);  // adds a second ball
        const qsizetype timers = stage.timers().size();
        for (int tick = 0; tick < 2; ++tick) {
            for (Ball &ball : stage.round->balls())
                ball.setCenter(ViewGeometry::center(stage.player()));
            stage.ticks(1);
        }
        auto *over = qobject_cast<Over *>(stage.round->modalViewController());
        QVERIFY(over);
        QCOMPARE(over->modalTransitionStyle(), ViewController::CrossDissolve);
        QCOMPARE(stage.round->findChildren<Over *>().size(), 1);
        for (const char *label : {"lab", "TopScore"})
            QCOMPARE(over->view()->findChild<QLabel *>(label)->text(), QStringLiteral("40"));
        QCOMPARE(stage.timers().size(), timers);
    }

    // Last: it gives the application the game's style. Identical widgets look
    // alike through one style object; labels say their role, panels keep
    // their text clear of the border, buttons are pills of their colour.
    void theLookComesFromOneStyle()
    {
        QApplication::setStyle(new ArcadeStyle);
        Window window;
        Over over;
        over.setScoreInt(23);
        window.addSubview(over.view());
        window.show();
        const auto *score = over.view()->findChild<QLabel *>("lab");
        QCOMPARE(score->font().pixelSize(), 52);
        QVERIFY(score->font().bold());
        QCOMPARE(score->palette().color(QPalette::WindowText), QColor(0xff, 0xd2, 0x3f));
        auto *retry = over.view()->findChild<QPushButton *>("retryButton");
        auto *menu = over.view()->findChild<QPushButton *>("menuButton");
        QCOMPARE(retry->palette().color(QPalette::ButtonText), QColor(0x4a, 0x22, 0x00));
        QCOMPARE(menu->palette().color(QPalette::ButtonText), QColor(Qt::white));
        const QColor orange = retry->grab().toImage().pixelColor(40, 10);
        const QColor blue = menu->grab().toImage().pixelColor(40, 10);
        QVERIFY2(orange.red() > orange.blue() && blue.blue() > blue.red(), qPrintable(orange.name() + blue.name()));
        RoundStage stage;
        const QLabel *hint = stage.label("power");
        QCOMPARE(hint->contentsRect(), hint->rect().marginsRemoved(QMargins(12, 12, 12, 12)));
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    }
};

VELMORA_TEST_MAIN(TestGame)
#include "tst_game.moc"
