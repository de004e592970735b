#include "TestMain.h"
#include "Utility/TSKPrivateUtilities.h"

#include <QPointer>
#include <QTimer>

class TestPrivateUtilities : public QObject
{
    Q_OBJECT
private slots:
    void ownsValuesButNotKeys()
    {
        auto publicObject = std::make_unique<QObject>();
        const void *key = publicObject.get();
        QPointer<QObject> first = new QTimer;
        TSKPrivateUtilities::setPrivateObjectForKey(std::unique_ptr<QObject>(first.data()), key);
        QCOMPARE(TSKPrivateUtilities::privateObjectForKey<QTimer>(key), first.data());

        QPointer<QObject> second = new QObject;
        TSKPrivateUtilities::setPrivateObjectForKey(std::unique_ptr<QObject>(second.data()), key);
        QVERIFY(first.isNull());
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey<QTimer>(key));

        // The public object may go first; its entry stays until it is removed.
        publicObject.reset();
        QCOMPARE(TSKPrivateUtilities::privateObjectForKey(key), second.data());
        TSKPrivateUtilities::removePrivateObjectForKey(key);
        QVERIFY(second.isNull());
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey(key));
    }

    void destroyedValueMayRemoveOtherEntries()
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
