#pragma once

#include "FormViewController.h"

class QScrollArea;
class TSKBannerView;

namespace Ui {
class Instructions;
}

// How to play, on a scrolling page.
class Instructions : public FormViewController<Ui::Instructions>
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
    QScrollArea *scroller = nullptr;
    TSKBannerView *bannerView_ = nullptr;
};
