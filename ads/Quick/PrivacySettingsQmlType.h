#pragma once

#include <VelmoraAds/PrivacySettings.h>

#include <QJSEngine>
#include <QtQml/qqmlregistration.h>

// The library's one PrivacySettings, named for QML; the engine must not own it.
struct PrivacySettingsQmlType
{
    Q_GADGET
    QML_FOREIGN(Velmora::Ads::PrivacySettings)
    QML_NAMED_ELEMENT(PrivacySettings)
    QML_SINGLETON
public:
    static Velmora::Ads::PrivacySettings *create(QQmlEngine *, QJSEngine *)
    {
        auto *settings = Velmora::Ads::PrivacySettings::instance();
        QJSEngine::setObjectOwnership(settings, QJSEngine::CppOwnership);
        return settings;
    }
};
