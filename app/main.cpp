#include "Application.h"
#include <VelmoraAds/TSKBannerView.h>
#include "VelmoraAppDelegate.h"

#include <QCoreApplication>

using namespace Velmora::Platform;

int main(int argc, char **argv)
{
    // Settings paths and the application's identity in ad requests come from these.
    QCoreApplication::setApplicationName(QStringLiteral("Velmora"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("velmora.example"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELMORA_VERSION));
    // House ads may send the player to the arcade's own club links.
    TSKBannerView::registerSchemes({QStringLiteral("velmora-arcade")});
    return Application::main(argc, argv, [] { return std::make_unique<VelmoraAppDelegate>(); });
}
