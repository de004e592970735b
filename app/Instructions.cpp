#include "Instructions.h"

#include "InterfaceActions.h"
#include "ui_Instructions.h"

Instructions::Instructions(QObject *parent)
    : ViewController(parent)
    , ui(new Ui::Instructions)
{
}

Instructions::~Instructions()
{
    delete ui;
}

void Instructions::loadView()
{
    ViewController::loadView();
    ui->setupUi(view());
    InterfaceActions::connect(view(), this);
    scroller = ui->scroller;
}

void Instructions::viewDidLoad()
{
    ViewController::viewDidLoad();
    scroller->widget()->resize(320, 480);
}

void Instructions::back()
{
    dismissModalViewControllerAnimated(true);
}
