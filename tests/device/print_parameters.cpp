// Prints the device and application parameters this machine sends with
// every ad request, one "key = value" line each.
#include "PropertyList.h"
#include "Utility/TSKIdentifierUtilities.h"

#include <QApplication>
#include <QTextStream>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Velmora"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("velmora.example"));
    const QVariantMap parameters = TSKIdentifierUtilities::sharedInstance()->parameters();
    QTextStream out(stdout);
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        const QString value = it.value().typeId() == QMetaType::QString
            ? it.value().toString()
            : QString::fromUtf8(PropertyList::toXml(it.value(), PropertyList::Form::Fragment));
        out << it.key() << " = " << value << '\n';
    }
    return 0;
}
