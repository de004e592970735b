#include "About.h"

#include "InterfaceActions.h"
#include "ui_About.h"

About::About(QObject *parent)
    : ViewController(parent)
    , ui(new Ui::About)
{
}

About::~About()
{
    delete ui;
}

void About::loadView()
{
    ViewController::loadView();
    ui->setupUi(view());
    InterfaceActions::connect(view(), this);
}

void About::back()
{
    dismissModalViewControllerAnimated(true);
}
