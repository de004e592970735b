#include "VelmoraViewController.h"

#include "About.h"
#include "Instructions.h"
#include "Touch.h"
#include "InterfaceActions.h"
#include "ui_VelmoraViewController.h"

VelmoraViewController::VelmoraViewController(QObject *parent)
    : ViewController(parent)
    , ui(new Ui::VelmoraViewController)
{
}

VelmoraViewController::~VelmoraViewController()
{
    delete ui;
}

void VelmoraViewController::loadView()
{
    ViewController::loadView();
    ui->setupUi(view());
    InterfaceActions::connect(view(), this);
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

void VelmoraViewController::present(ViewController *screen)
{
    screen->setModalTransitionStyle(ViewController::FlipHorizontal);
    presentModalViewController(screen, true);
}
