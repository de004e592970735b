#pragma once

#include "ViewController.h"

#include <QPointer>

// What full-screen ads open over when a banner's program gives no view
// controller: the banner's own top-level window. Its view is an empty,
// zero-sized stand-in inside that window, so a presented screen covers the
// whole window and, dismissed, leaves it as it was. Screens it presents
// follow the window's size while they are up.
class BannerWindowController : public Velmora::Platform::ViewController
{
    Q_OBJECT
public:
    explicit BannerWindowController(QObject *parent = nullptr);

    void loadView() override;
    // Moves the stand-in into `window`, unless a screen is up in another one.
    void placeIn(QWidget *window);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void coverWindow();

    QPointer<QWidget> window_;
};
