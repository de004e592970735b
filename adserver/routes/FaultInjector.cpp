#include "routes/FaultInjector.h"

namespace {

std::optional<int> numberAfter(const QString &mode, QLatin1String prefix, int minimum, int maximum)
{
    if (!mode.startsWith(prefix))
        return std::nullopt;
    bool ok = false;
    const int value = mode.mid(prefix.size()).toInt(&ok);
    if (!ok || value < minimum || value > maximum)
        return std::nullopt;
    return value;
}

}  // namespace

FaultInjector::FaultInjector(const QStringList &modes)
{
    for (const QString &mode : modes)
        apply(mode);
}

bool FaultInjector::isValidMode(const QString &mode)
{
    return FaultInjector().apply(mode);
}

QString FaultInjector::modeSyntax()
{
    return QStringLiteral("slow:MS, status:CODE (400-599), empty, truncated, redirect-loop, garbage-script, flood");
}

bool FaultInjector::apply(const QString &mode)
{
    if (const auto ms = numberAfter(mode, QLatin1String("slow:"), 1, 600000)) {
        delayMs_ = *ms;
    } else if (const auto status = numberAfter(mode, QLatin1String("status:"), 400, 599)) {
        forcedAdStatus_ = *status;
    } else if (mode == QLatin1String("empty")) {
        emptyPage_ = true;
    } else if (mode == QLatin1String("truncated")) {
        truncatedPage_ = true;
    } else if (mode == QLatin1String("redirect-loop")) {
        redirectLoop_ = true;
    } else if (mode == QLatin1String("garbage-script")) {
        garbageScript_ = true;
    } else if (mode == QLatin1String("flood")) {
        flood_ = true;
    } else {
        return false;
    }
    return true;
}
