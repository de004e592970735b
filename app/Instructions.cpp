#include "BannerPlacement.h"
#include "Instructions.h"

#include "ui_Instructions.h"

using namespace Velmora::Platform;

Instructions::Instructions(QObject *parent)
    : FormViewController(parent)
{
}

Instructions::~Instructions() = default;

void Instructions::loadView()
{
    FormViewController::loadView();
    scroller = ui->scroller;
}

void Instructions::viewDidLoad()
{
    ViewController::viewDidLoad();
    scroller->widget()->resize(320, 480);
    bannerView_ = BannerPlacement::place(this);
}

void Instructions::back()
{
    dismissModalViewControllerAnimated(true);
}
