#include "TestMain.h"

#include <QStandardPaths>
#include <QTemporaryDir>

void testsupport::prepareEnvironment()
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    if (qgetenv("QTWEBENGINE_CHROMIUM_FLAGS").isEmpty())
        qputenv("QTWEBENGINE_CHROMIUM_FLAGS", "--disable-gpu");

    // Lives as long as the process; removed when the test exits normally.
    static QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + "/.config").toUtf8());
    qputenv("XDG_CACHE_HOME", (home.path() + "/.cache").toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + "/.local/share").toUtf8());
    QStandardPaths::setTestModeEnabled(true);
}
