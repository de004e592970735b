#pragma once

#include "ViewController.h"

class QScrollArea;

namespace Ui {
class Instructions;
}

// How to play, on a scrolling page.
class Instructions : public ViewController
{
    Q_OBJECT
public:
    explicit Instructions(QObject *parent = nullptr);
    ~Instructions() override;

    void loadView() override;
    void viewDidLoad() override;

public slots:
    void back();

private:
    Ui::Instructions *ui;
    QScrollArea *scroller = nullptr;
};
