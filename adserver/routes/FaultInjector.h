#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// The ways the server can be told to misbehave, so that clients can be tested
// against a slow, failing or hostile ad network.
class FaultInjector
{
public:
    FaultInjector() = default;
    explicit FaultInjector(const QStringList &modes);

    static bool isValidMode(const QString &mode);
    static QString modeSyntax();

    int delayMs() const { return delayMs_; }
    std::optional<int> forcedAdStatus() const { return forcedAdStatus_; }
    bool emptyPage() const { return emptyPage_; }
    bool truncatedPage() const { return truncatedPage_; }
    bool redirectLoop() const { return redirectLoop_; }
    bool garbageScript() const { return garbageScript_; }
    bool flood() const { return flood_; }

private:
    bool apply(const QString &mode);

    int delayMs_ = 0;
    std::optional<int> forcedAdStatus_;
    bool emptyPage_ = false;
    bool truncatedPage_ = false;
    bool redirectLoop_ = false;
    bool garbageScript_ = false;
    bool flood_ = false;
};
