#include "BannerPlacement.h"
#include "Over.h"

#include "Touch.h"
#include "VelmoraViewController.h"
#include "ui_Over.h"

using namespace Velmora::Platform;

Over::Over(QObject *parent)
    : FormViewController(parent)
{
}

Over::~Over() = default;

void Over::setScoreInt(int value)
{
    score = value;
}

void Over::loadView()
{
    FormViewController::loadView();
    lab = ui->lab;
    TopScore = ui->TopScore;
}

void Over::viewDidLoad()
{
    ViewController::viewDidLoad();
    TopScore->setText(QString::asprintf("%i", score));
    lab->setText(QString::asprintf("%d", score));
    bannerView_ = BannerPlacement::place(this);
}

// The finished round and this screen stay underneath the new one.
void Over::retry()
{
    auto *round = new Touch;
    round->setModalTransitionStyle(ViewController::CrossDissolve);
    presentModalViewController(round, true);
}

void Over::menu()
{
    auto *menu = new VelmoraViewController;
    menu->setModalTransitionStyle(ViewController::FlipHorizontal);
    presentModalViewController(menu, true);
}

// Not wired to anything: a counter that shows itself in both labels.
void Over::randomMainVoid()
{
    ++mainInt;
    if (!isViewLoaded())
        return;
    lab->setText(QString::asprintf("%d", mainInt));
    TopScore->setText(QString::asprintf("%i", mainInt));
}
