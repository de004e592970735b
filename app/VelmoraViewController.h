#pragma once

#include "FormViewController.h"

class TSKBannerView;

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

    // Places a new banner on every appearance; earlier ones stay beneath it.
    void viewWillAppear(bool animated) override;

public slots:
    void menu();
    void instructions();
    void about();
    void privacy();

private:
    void present(Velmora::Platform::ViewController *screen);

    TSKBannerView *bannerView_ = nullptr;
};
