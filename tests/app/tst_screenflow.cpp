#include "About.h"
#include "GameStage.h"
#include "Instructions.h"
#include "Over.h"
#include "TestMain.h"
#include "VelmoraViewController.h"

#include <QPushButton>
#include <QScrollArea>

namespace {

class ObservedMenu : public VelmoraViewController
{
public:
    void viewDidAppear(bool animated) override
    {
        VelmoraViewController::viewDidAppear(animated);
        ++appearances;
    }
    int appearances = 0;
};

// Clicks the button of the screen's interface file and lets any transition end.
void click(ViewController *screen, const char *button)
{
    QPushButton *control = screen->view()->findChild<QPushButton *>(QLatin1String(button));
    QVERIFY2(control, button);
    control->click();
    screen->finishTransition();
}

// Ends a round the way the game does: a ball meets the player's ball.
Over *loseRound(Touch *round)
{
    QWidget *player = round->view()->findChild<QWidget *>(QStringLiteral("one"));
    ViewGeometry::setCenter(round->balls().first(), ViewGeometry::center(player));
    round->onTimer();
    round->finishTransition();
    return qobject_cast<Over *>(round->modalViewController());
}

}  // namespace

class TestScreenFlow : public QObject
{
    Q_OBJECT
private slots:
    void informationScreensReturnToTheMenu()
    {
        Window window;
        ObservedMenu menu;
        window.addSubview(menu.view());

        click(&menu, "howToPlay");
        auto *instructions = qobject_cast<Instructions *>(menu.modalViewController());
        QVERIFY(instructions);
        QCOMPARE(instructions->modalTransitionStyle(), int(ViewController::FlipHorizontal));
        QVERIFY(menu.view()->isHidden());
        QCOMPARE(instructions->view()->findChild<QScrollArea *>("scroller")->widget()->size(), QSize(320, 480));

        click(instructions, "backButton");
        QVERIFY(!menu.modalViewController());
        QVERIFY(!menu.view()->isHidden());
        QCOMPARE(menu.appearances, 1);

        click(&menu, "aboutButton");
        auto *about = qobject_cast<About *>(menu.modalViewController());
        QVERIFY(about);
        QCOMPARE(about->modalTransitionStyle(), int(ViewController::FlipHorizontal));
        click(about, "backButton");
        QVERIFY(!menu.modalViewController());
        QCOMPARE(menu.appearances, 2);
    }

    void roundsAndGameOversStackWithoutEnd()
    {
        Window window;
        VelmoraViewController menu;
        window.addSubview(menu.view());
        click(&menu, "play");
        auto *round = qobject_cast<Touch *>(menu.modalViewController());
        QVERIFY(round);
        QCOMPARE(round->modalTransitionStyle(), int(ViewController::FlipHorizontal));

        QList<QPointer<ViewController>> stack{&menu, round};
        for (int retry = 0; retry < 3; ++retry) {
            Over *over = loseRound(round);
            QVERIFY(over);
            click(over, "retryButton");
            round = qobject_cast<Touch *>(over->modalViewController());
            QVERIFY(round);
            QCOMPARE(round->modalTransitionStyle(), int(ViewController::CrossDissolve));
            stack << over << round;
        }

        Over *last = loseRound(round);
        click(last, "menuButton");
        auto *newMenu = qobject_cast<VelmoraViewController *>(last->modalViewController());
        QVERIFY(newMenu);
        QCOMPARE(newMenu->modalTransitionStyle(), int(ViewController::FlipHorizontal));
        stack << last << newMenu;

        // Every screen is still there, each presented by the one below it; only the top shows.
        for (int i = 1; i < stack.size(); ++i) {
            QVERIFY(stack[i]);
            QCOMPARE(stack[i]->parentViewController(), stack[i - 1].data());
            QVERIFY(stack[i - 1]->view()->isHidden());
        }
        QVERIFY(!newMenu->view()->isHidden());
    }

    void gameOverShowsTheScoreInBothLabels()
    {
        for (int score : {-15, 0, 42}) {
            Over over;
            over.setScoreInt(score);
            QCOMPARE(over.view()->findChild<QLabel *>("lab")->text(), QString::number(score));
            QCOMPARE(over.view()->findChild<QLabel *>("TopScore")->text(), QString::number(score));
        }
        Over unset;
        QCOMPARE(unset.view()->findChild<QLabel *>("lab")->text(), QStringLiteral("0"));
        QCOMPARE(unset.view()->findChild<QLabel *>("TopScore")->text(), QStringLiteral("0"));
    }
};

VELMORA_TEST_MAIN(TestScreenFlow)
#include "tst_screenflow.moc"
