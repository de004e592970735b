#pragma once

#include "ViewController.h"

namespace Ui {
class VelmoraViewController;
}

// The main menu. Its play action is called `menu`.
class VelmoraViewController : public ViewController
{
    Q_OBJECT
public:
    explicit VelmoraViewController(QObject *parent = nullptr);
    ~VelmoraViewController() override;

    void loadView() override;

public slots:
    void menu();
    void instructions();
    void about();

private:
    void present(ViewController *screen);

    Ui::VelmoraViewController *ui;
};
