#pragma once

#include "FormViewController.h"

namespace Ui {
class About;
}

// What Velmora is. The one screen without a banner.
class About : public FormViewController<Ui::About>
{
    Q_OBJECT
public:
    explicit About(QObject *parent = nullptr);
    ~About() override;

public slots:
    void back();
};
