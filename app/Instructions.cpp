#include "Instructions.h"

#include "ui_Instructions.h"

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
}

void Instructions::back()
{
    dismissModalViewControllerAnimated(true);
}
