#include "MainBundle.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>

namespace Velmora::Platform {

QString MainBundle::version()
{
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty() ? QString() : version;
}

QString MainBundle::identifier()
{
    QStringList labels = QCoreApplication::organizationDomain().split(QLatin1Char('.'), Qt::SkipEmptyParts);
    std::reverse(labels.begin(), labels.end());
    labels.append(QCoreApplication::applicationName());
    return labels.join(QLatin1Char('.'));
}

}  // namespace Velmora::Platform
