#pragma once

#include <QApplication>
#include <QTest>

namespace testsupport {

// Headless platform, sandbox-free web engine, a throw-away home and Qt's test
// paths, so no suite touches the developer's real settings or caches.
void prepareEnvironment();

}  // namespace testsupport

// Like QTEST_MAIN, after preparing the environment; `beforeApp` runs before
// the application object exists (web engine scheme registration needs that).
#define VELMORA_TEST_MAIN_WITH(TestObject, beforeApp)                                              \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        testsupport::prepareEnvironment();                                                         \
        beforeApp();                                                                               \
        QApplication app(argc, argv);                                                              \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        const int status = QTest::qExec(&tc, argc, argv);                                          \
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);                       \
        return status;                                                                             \
    }

#define VELMORA_TEST_MAIN(TestObject) VELMORA_TEST_MAIN_WITH(TestObject, [] {})
