#pragma once

#include <QString>

class QObject;
class QWebEngineSettings;

namespace Velmora::Platform {

// What pages from strangers may do here: nothing that reaches the desktop.
// One rule for every kind of web content: no local files, windows, dialogs,
// clipboard, full screen, storage or permissions, and each refusal told on
// standard error (the first few of each page: a page can ask in a loop).
class WebContainment
{
public:
    static constexpr int kLoggedRefusalLimit = 20;

    // For the widgets' profile.
    static void closeOffTheDesktop(QWebEngineSettings *settings);
    // For a Qt Quick view's settings object, by its property names.
    static void closeOffTheDesktop(QObject *quickSettings);

    // Tells one refusal of `what` to the page, unless this page has told
    // enough of them already.
    void logRefusal(const QString &what, const QString &detail);

private:
    int refusalsLogged_ = 0;
};

}  // namespace Velmora::Platform
