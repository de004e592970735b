#include "Device.h"
#include "Reachability.h"
#include "TestMain.h"
#include "UserDefaults.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

namespace {

using R = QNetworkInformation::Reachability;
using T = QNetworkInformation::TransportMedium;

QString writeTemporaryFile(QTemporaryDir &dir, const QString &name, const QByteArray &content)
{
    const QString path = dir.filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

}  // namespace

class TestDevice : public QObject
{
    Q_OBJECT
private slots:
    void cleanup()
    {
        Reachability::setStateSource({});
    }

    void uniqueIdentifierPrefersTheMachineIdentity()
    {
        QTemporaryDir dir;
        const QString machineId = writeTemporaryFile(dir, "machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
        QCOMPARE(Device::uniqueIdentifier(machineId), QStringLiteral("3d1219c7c4c5404aaa1f6d2a48adfda4"));

        // Without one, a random identifier is made once and then kept.
        const QString missing = dir.filePath("none");
        const QString made = Device::uniqueIdentifier(missing);
        QCOMPARE(made.size(), 32);
        QCOMPARE(Device::uniqueIdentifier(writeTemporaryFile(dir, "blank", "  \n")), made);
        QCOMPARE(UserDefaults::standard().stringForKey("DeviceUniqueIdentifier"), made);
    }

    void audioRouteIsTheFirstSoundCard_data()
    {
        QTest::addColumn<QByteArray>("cards");
        QTest::addColumn<QString>("route");
        QTest::newRow("two cards") << QByteArray(" 0 [PCH            ]: HDA-Intel - HDA Intel PCH\n"
                                                 "                      HDA Intel PCH at 0xf7f10000 irq 32\n"
                                                 " 1 [Headset        ]: USB-Audio - Headset\n")
                                   << QStringLiteral("HDA Intel PCH");
        QTest::newRow("dash in name") << QByteArray(" 0 [H]: USB-Audio - Head-set X\n") << QStringLiteral("Head-set X");
        QTest::newRow("no cards") << QByteArray("--- no soundcards ---\n") << QStringLiteral("");
    }

    void audioRouteIsTheFirstSoundCard()
    {
        QFETCH(QByteArray, cards);
        QFETCH(QString, route);
        QTemporaryDir dir;
        const std::optional<QString> read = Device::audioRoute(writeTemporaryFile(dir, "cards", cards));
        QVERIFY(read.has_value());
        QCOMPARE(*read, route);
        QVERIFY(!read->isNull());
        QVERIFY(!Device::audioRoute(dir.filePath("absent")).has_value());
    }

    void flagsFollowTheNetworkState_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("reachability");
        QTest::addColumn<int>("medium");
        QTest::addColumn<uint>("flags");
        QTest::newRow("online wifi") << "ads.example" << int(R::Online) << int(T::WiFi) << 0x2u;
        QTest::newRow("online cellular") << "ads.example" << int(R::Online) << int(T::Cellular) << 0x40002u;
        QTest::newRow("local only") << "ads.example" << int(R::Local) << int(T::WiFi) << 0u;
        QTest::newRow("disconnected") << "ads.example" << int(R::Disconnected) << int(T::Unknown) << 0u;
        QTest::newRow("no information") << "ads.example" << int(R::Unknown) << int(T::Unknown) << 0x2u;
        QTest::newRow("loopback address offline") << "127.0.0.1" << int(R::Disconnected) << int(T::Unknown) << 0x2u;
        QTest::newRow("localhost offline") << "LocalHost" << int(R::Disconnected) << int(T::Cellular) << 0x2u;
    }

    void flagsFollowTheNetworkState()
    {
        QFETCH(QString, host);
        QFETCH(int, reachability);
        QFETCH(int, medium);
        QFETCH(uint, flags);
        QCOMPARE(Reachability::flagsFor(host, {R(reachability), T(medium)}), flags);
    }

    void firstNotificationComesOnTheNextTurnThenOnlyChanges()
    {
        Reachability::NetworkState state{R::Online, T::WiFi};
        Reachability::setStateSource([&state] { return state; });
        Reachability reachability("ads.example");
        QSignalSpy spy(&reachability, &Reachability::flagsChanged);

        reachability.start();
        reachability.refresh();  // too early: the first notification has not gone out yet
        QCOMPARE(spy.count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 1, 10000);
        QCOMPARE(spy.at(0).at(0).toUInt(), 0x2u);

        reachability.refresh();
        QCOMPARE(spy.count(), 1);
        state = {R::Online, T::Cellular};
        reachability.refresh();
        QCOMPARE(spy.count(), 2);
        QCOMPARE(spy.at(1).at(0).toUInt(), 0x40002u);

        reachability.stop();
        state = {R::Disconnected, T::Unknown};
        reachability.refresh();
        QCOMPARE(spy.count(), 2);
    }

    void systemNetworkInformationGivesAFirstNotification()
    {
        Reachability reachability("ads.example");
        QSignalSpy spy(&reachability, &Reachability::flagsChanged);
        reachability.start();
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 1, 10000);
        QCOMPARE(spy.at(0).at(0).toUInt(), reachability.currentFlags());
    }

    void stopBeforeTheFirstTurnSendsNothing()
    {
        Reachability::setStateSource([] { return Reachability::NetworkState{R::Online, T::WiFi}; });
        Reachability stopped("ads.example");
        Reachability control("ads.example");
        QSignalSpy stoppedSpy(&stopped, &Reachability::flagsChanged);
        QSignalSpy controlSpy(&control, &Reachability::flagsChanged);
        stopped.start();
        control.start();
        stopped.stop();
        // Both first notifications were queued together; once the control's arrives, the other's turn has passed.
        QTRY_COMPARE_WITH_TIMEOUT(controlSpy.count(), 1, 10000);
        QCOMPARE(stoppedSpy.count(), 0);
    }
};

VELMORA_TEST_MAIN(TestDevice)
#include "tst_device.moc"
