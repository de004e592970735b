#pragma once

#include "ViewController.h"

namespace Ui {
class About;
}

// What Velmora is. The one screen without a banner.
class About : public ViewController
{
    Q_OBJECT
public:
    explicit About(QObject *parent = nullptr);
    ~About() override;

    void loadView() override;

public slots:
    void back();

private:
    Ui::About *ui;
};
