// A second process over a user-defaults file, so tests can show that what one
// process synchronises another one reads:
//   defaults_tool <file> get <key>         prints the value as property-list XML
//   defaults_tool <file> set <key> <xml>   stores the value and synchronises
#include "PropertyList.h"
#include "UserDefaults.h"

#include <QCoreApplication>
#include <QTextStream>

using namespace Velmora::Platform;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 4 && args[2] == QLatin1String("get")) {
        const QVariant value = UserDefaults(args[1]).objectForKey(args[3]);
        if (!value.isValid())
            return 1;
        QTextStream(stdout) << PropertyList::toXml(value, PropertyList::Form::Fragment);
        return 0;
    }
    const std::optional<QVariant> value = PropertyList::fromXml(args.value(4).toUtf8());
    if (args.size() != 5 || args[2] != QLatin1String("set") || !value)
        return 2;
    UserDefaults defaults(args[1]);
    defaults.setObjectForKey(*value, args[3]);
    return defaults.synchronize() ? 0 : 1;
}
