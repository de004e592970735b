#include "Application.h"
#include "GameOptions.h"
#include "TickOutput.h"
#include "VelmoraAppDelegate.h"

#include <VelmoraAds/TSKBannerView.h>

#include <QGuiApplication>
#include <cstdio>

namespace {

QStringList argumentList(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    return arguments;
}

}  // namespace

using namespace Velmora::Platform;

int main(int argc, char **argv)
{
    TickOutput::bufferStandardOutput();
    // Settings paths and the application's identity in ad requests come from these.
    QCoreApplication::setApplicationName(QStringLiteral("Velmora"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("velmora.example"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELMORA_VERSION));
    // Lets the desktop match the window with the installed launcher and its icon.
    QGuiApplication::setDesktopFileName(QStringLiteral("velmora"));

    GameOptions options;
    switch (options.parse(argumentList(argc, argv))) {
    case GameOptions::Outcome::Exit:
        std::fputs(qPrintable(options.text()), stdout);
        return 0;
    case GameOptions::Outcome::Fail:
        std::fprintf(stderr, "%s: %s\nTry '%s --help' for the options.\n", argv[0], qPrintable(options.text()), argv[0]);
        return 2;
    case GameOptions::Outcome::Play:
        break;
    }

    // House ads may send the player to the arcade's own club links.
    TSKBannerView::registerSchemes({QStringLiteral("velmora-arcade")});
    return Application::main(argc, argv, [&options] { return std::make_unique<VelmoraAppDelegate>(options); });
}
