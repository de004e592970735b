#pragma once

#include <QTest>
#include <QVariant>
#include <QWebEnginePage>

namespace testsupport {

// Runs a script in the page and waits for its result (an invalid QVariant
// when the page does not answer in time).
inline QVariant evaluateInPage(QWebEnginePage *page, const QString &script)
{
    QVariant result;
    bool answered = false;
    page->runJavaScript(script, [&](const QVariant &value) {
        result = value;
        answered = true;
    });
    if (!QTest::qWaitFor([&] { return answered; }, 20000))
        return {};
    return result;
}

}  // namespace testsupport
