#include "About.h"

#include "ui_About.h"

About::About(QObject *parent)
    : FormViewController(parent)
{
}

About::~About() = default;

void About::back()
{
    dismissModalViewControllerAnimated(true);
}
