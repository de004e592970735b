#pragma once

#include "FormViewController.h"

class QLabel;
class TSKBannerView;

namespace Ui {
class Over;
}

// The game-over screen: the round's score, a new round or a new menu. Nothing
// is kept, so the top score is simply this round's score.
class Over : public FormViewController<Ui::Over>
{
    Q_OBJECT
public:
    explicit Over(QObject *parent = nullptr);
    ~Over() override;

    // Must be called before the view loads: the labels are filled only then.
    void setScoreInt(int value);
    void loadView() override;
    void viewDidLoad() override;

public slots:
    void retry();
    void menu();
    void randomMainVoid();

private:
    QLabel *lab = nullptr;
    QLabel *TopScore = nullptr;
    int score = 0;
    int mainInt = 0;
    TSKBannerView *bannerView_ = nullptr;
};
