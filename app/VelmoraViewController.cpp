#include "VelmoraViewController.h"

#include "About.h"
#include "BannerPlacement.h"
#include "Instructions.h"
#include "Privacy.h"
#include "Touch.h"
#include "ui_VelmoraViewController.h"

using namespace Velmora::Platform;

VelmoraViewController::VelmoraViewController(QObject *parent)
    : FormViewController(parent)
{
}

VelmoraViewController::~VelmoraViewController() = default;

void VelmoraViewController::viewWillAppear(bool)
{
    bannerView_ = BannerPlacement::place(this);
}

void VelmoraViewController::menu()
{
    present(new Touch);
}

void VelmoraViewController::instructions()
{
    present(new Instructions);
}

void VelmoraViewController::about()
{
    present(new About);
}

void VelmoraViewController::privacy()
{
    present(new Privacy);
}

void VelmoraViewController::present(ViewController *screen)
{
    screen->setModalTransitionStyle(ViewController::FlipHorizontal);
    presentModalViewController(screen, true);
}
