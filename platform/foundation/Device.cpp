#include "Device.h"

#include <QFile>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QScreen>
#include <QSysInfo>
#include <QWindow>

#include <sys/utsname.h>

namespace Velmora::Platform {

QString Device::model()
{
    return QStringLiteral("Desktop");
}

QString Device::systemVersion()
{
    const QString version = QSysInfo::productVersion();
    return version == QLatin1String("unknown") || version.isEmpty() ? QSysInfo::kernelVersion() : version;
}

QString Device::machine()
{
    utsname names{};
    if (uname(&names) != 0)
        return {};
    return QString::fromLatin1(names.machine);
}

Device::Idiom Device::userInterfaceIdiom()
{
    return Idiom::Phone;
}

double Device::screenScale()
{
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return 1.0;
    const QScreen *screen = QGuiApplication::primaryScreen();
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (const QWindow *window : windows) {
        if (window->isVisible() && window->screen()) {
            screen = window->screen();
            break;
        }
    }
    return screen ? screen->devicePixelRatio() : 1.0;
}

QSizeF Device::screenSize()
{
    return QSizeF(320, 480);
}

Device::Orientation Device::statusBarOrientation()
{
    return Orientation::Portrait;
}

// The cards file lists each card as " 0 [Id   ]: driver - Long Name" followed
// by an indented line; the default output is the first card.
std::optional<QString> Device::audioRoute(const QString &soundCardsFile)
{
    QFile file(soundCardsFile);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return std::nullopt;
    static const QRegularExpression cardLine(QStringLiteral("^\\s*\\d+\\s*\\[[^\\]]*\\]:\\s*\\S+\\s+-\\s+(.*)$"));
    const QStringList lines = QString::fromUtf8(file.read(64 * 1024)).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QRegularExpressionMatch match = cardLine.match(line);
        if (match.hasMatch())
            return match.captured(1).trimmed();
    }
    return QString(QLatin1String(""));
}

}  // namespace Velmora::Platform
