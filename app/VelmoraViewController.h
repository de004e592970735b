#pragma once

#include "FormViewController.h"

namespace Ui {
class VelmoraViewController;
}

// The main menu. Its play action is called `menu`.
class VelmoraViewController : public FormViewController<Ui::VelmoraViewController>
{
    Q_OBJECT
public:
    explicit VelmoraViewController(QObject *parent = nullptr);
    ~VelmoraViewController() override;

public slots:
    void menu();
    void instructions();
    void about();

private:
    void present(ViewController *screen);
};
