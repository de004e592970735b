#include "BannerPlacement.h"
#include "Instructions.h"

#include "ui_Instructions.h"

#include <QFile>

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
    // The one scrolling screen: its thin see-through scroll bar is style sheet
    // work, done for this screen alone.
    QFile style(QStringLiteral(":/style/Scroller.qss"));
    if (style.open(QIODevice::ReadOnly))
        scroller->setStyleSheet(QString::fromUtf8(style.readAll()));
    bannerView_ = BannerPlacement::place(this);
}

void Instructions::back()
{
    dismissModalViewControllerAnimated(true);
}
