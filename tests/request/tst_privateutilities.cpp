#include "TestMain.h"
#include "Utility/TSKPrivateUtilities.h"

#include <QPointer>
#include <QTimer>

class TestPrivateUtilities : public QObject
{
    Q_OBJECT
private slots:
    void ownsValuesAndKeysByIdentityOnly()
    {
        auto publicObject = std::make_unique<QObject>();
        const void *key = publicObject.get();
        auto first = std::make_unique<QTimer>();
        QPointer<QObject> firstPointer = first.get();
        TSKPrivateUtilities::setPrivateObjectForKey(std::move(first), key);
        QCOMPARE(TSKPrivateUtilities::privateObjectForKey(key), firstPointer.data());
        QCOMPARE(TSKPrivateUtilities::privateObjectForKey<QTimer>(key), firstPointer.data());
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey(this));

        // Replacing destroys the previous value.
        auto second = std::make_unique<QObject>();
        QPointer<QObject> secondPointer = second.get();
        TSKPrivateUtilities::setPrivateObjectForKey(std::move(second), key);
        QVERIFY(firstPointer.isNull());
        QCOMPARE(TSKPrivateUtilities::privateObjectForKey(key), secondPointer.data());
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey<QTimer>(key));

        // The key may go away first; its entry is still found by address until removed.
        publicObject.reset();
        QCOMPARE(TSKPrivateUtilities::privateObjectForKey(key), secondPointer.data());
        TSKPrivateUtilities::removePrivateObjectForKey(key);
        QVERIFY(secondPointer.isNull());
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey(key));
        TSKPrivateUtilities::removePrivateObjectForKey(key);
    }

    void privateObjectMayRemoveOtherEntriesWhenDestroyed()
    {
        int a = 0, b = 0;
        auto chained = std::make_unique<QObject>();
        connect(chained.get(), &QObject::destroyed, [&b] { TSKPrivateUtilities::removePrivateObjectForKey(&b); });
        TSKPrivateUtilities::setPrivateObjectForKey(std::move(chained), &a);
        TSKPrivateUtilities::setPrivateObjectForKey(std::make_unique<QObject>(), &b);
        TSKPrivateUtilities::removePrivateObjectForKey(&a);
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey(&a));
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey(&b));
    }
};

VELMORA_TEST_MAIN(TestPrivateUtilities)
#include "tst_privateutilities.moc"
