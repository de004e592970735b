#pragma once

#include "PlatformExport.h"

#include <QImage>
#include <QPointer>
#include <QWidget>

class QLabel;
Q_MOC_INCLUDE("ViewController.h")

namespace Velmora::Platform {

class ViewController;

/// The phone's screen on the desktop: one fixed 320 by 480 point top-level
/// widget. Everything inside is laid out in points.
///
/// Scaling is the process's device pixel ratio (QT_SCALE_FACTOR, chosen by
/// Application::main from --scale or the desktop's size) rather than a
/// transform of the widgets: mouse positions stay in points, text, painted
/// shapes and high-resolution pixmaps render crisply at the scale, and web
/// views (which cannot live in a graphics scene) scale like everything else.
class VELMORAPLATFORM_EXPORT Window : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kWidth = 320;
    static constexpr int kHeight = 480;
    static constexpr int kStatusBarHeight = 20;

    explicit Window(QWidget *parent = nullptr);
    ~Window() override;

    /// The 320 by 480 area that holds the screens' views.
    QWidget *contentView() const { return content_; }
    /// Puts a view on the screen, above what is there.
    void addSubview(QWidget *view);

    Q_INVOKABLE ViewController *rootViewController() const;
    /// Shows the controller's view as the window's only screen. Not owned.
    void setRootViewController(ViewController *controller);

    /// Shows the window, gives it the focus and makes it the application's key window.
    void makeKeyAndVisible();

    /// The status bar covers the top 20 points of the screen while shown.
    void setStatusBarShown(bool shown);
    bool isStatusBarShown() const;

    /// What the screen shows now, at the device pixel ratio.
    QImage grabScreen();

    /// The largest whole scale at which the screen fits the given desktop
    /// area, at least 1.
    static int largestFittingScale(const QSize &available);

private:
    void updateClock();

    QWidget *content_;
    QLabel *statusBar_;
    QPointer<ViewController> rootViewController_;
};

}  // namespace Velmora::Platform
