#include "Privacy.h"

#include "PrivacyChoice.h"
#include "ViewGeometry.h"
#include "ui_Privacy.h"

#include <VelmoraAds/PrivacySettings.h>

#include <QStyle>

Privacy::Privacy(QObject *parent)
    : FormViewController(parent)
{
}

Privacy::~Privacy() = default;

void Privacy::viewWillAppear(bool)
{
    ui->backButton->setVisible(!asking_);
    ui->resetButton->setVisible(!asking_);
    ui->hint->setVisible(asking_);
    // Alone at the top while asking, beside the way back otherwise.
    ui->title->setAlignment(asking_ ? Qt::AlignCenter : Qt::AlignRight | Qt::AlignVCenter);
    Velmora::Platform::ViewGeometry::setFrame(ui->title, asking_ ? QRectF(0, 8, 320, 50) : QRectF(104, 8, 200, 50));
    if (!asking_)
        markChosen(Velmora::Ads::PrivacySettings::instance()->personalisedAdsAllowed());
}

void Privacy::personalised()
{
    choose(true);
}

void Privacy::nonPersonalised()
{
    choose(false);
}

void Privacy::resetIdentifier()
{
    Velmora::Ads::PrivacySettings::instance()->resetIdentifier();
    ui->resetButton->setEnabled(false);
    ui->resetButton->setText(QStringLiteral("A new identifier is in use"));
}

void Privacy::back()
{
    dismissModalViewControllerAnimated(true);
}

void Privacy::choose(bool personalised)
{
    PrivacyChoice::store(personalised);
    dismissModalViewControllerAnimated(true);
}

// The answer in force is the orange button; there is no identifier to reset without it.
void Privacy::markChosen(bool personalised)
{
    for (QPushButton *button : {ui->personalisedButton, ui->nonPersonalisedButton}) {
        button->setProperty("accent", (button == ui->personalisedButton) == personalised);
        button->style()->unpolish(button);
        button->style()->polish(button);
    }
    ui->resetButton->setEnabled(personalised);
}
