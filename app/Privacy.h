#pragma once

#include "FormViewController.h"

namespace Ui {
class Privacy;
}

// What the ads may use: personalised ads or not, in plain words. At first
// launch it asks (no way back but an answer); from the menu it shows the
// answer in force, changes it, and resets the ad identifier. It carries no
// banner: nothing is asked for before the player has answered.
class Privacy : public FormViewController<Ui::Privacy>
{
    Q_OBJECT
public:
    explicit Privacy(QObject *parent = nullptr);
    ~Privacy() override;

    // The first-launch question rather than the menu's screen.
    void setAsking(bool asking) { asking_ = asking; }

    void viewWillAppear(bool animated) override;

public slots:
    void personalised();
    void nonPersonalised();
    void resetIdentifier();
    void back();

private:
    void choose(bool personalised);
    void markChosen(bool personalised);

    bool asking_ = false;
};
