#include "GameOptions.h"
#include "TestMain.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>
#include "VelmoraAppDelegate.h"
#include "Window.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

// The game as a desktop program: its command line and its quit shortcut.
class TestDesktop : public QObject
{
    Q_OBJECT
private slots:
    // The real program, on a platform that needs a display there is not: answering must not need one.
    void helpVersionAndMistakesNeedNoDisplay_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("said");  // a pattern; on standard output for 0, standard error otherwise

        QTest::newRow("help") << QStringList{"--help"} << 0 << R"(^Usage: velmora \[options\]\n(.|\n)*--autoplay <N>)";
        QTest::newRow("short help") << QStringList{"-h"} << 0 << "^Usage: velmora";
        QTest::newRow("version") << QStringList{"--version"} << 0 << R"(^velmora \d+\.\d+\.\d+\n$)";
        QTest::newRow("unknown option") << QStringList{"--bogus"} << 2 << "^\\S*velmora: Unknown option 'bogus'.\n.*--help";
        QTest::newRow("scale not a number") << QStringList{"--scale", "x"} << 2
                                            << R"(--scale wants a whole number from 1 to 16, not "x")";
        QTest::newRow("scale too large") << QStringList{"--scale=17"} << 2 << R"(not "17")";
        QTest::newRow("scale without value") << QStringList{"--scale"} << 2 << "Missing value after '--scale'";
        QTest::newRow("negative rounds") << QStringList{"--autoplay", "-1"} << 2
                                         << R"(--autoplay wants a number of rounds, 0 or more, not "-1")";
        QTest::newRow("round limit nan") << QStringList{"--autoplay", "1", "--round-limit", "nan"} << 2
                                         << R"(--round-limit wants a number of seconds)";
        QTest::newRow("empty directory") << QStringList{"--screenshot="} << 2 << "--screenshot wants a directory";
        QTest::newRow("stray argument") << QStringList{"level2"} << 2 << R"(unexpected argument "level2")";
        QTest::newRow("privacy answer unknown") << QStringList{"--privacy", "maybe"} << 2
                                                << R"(--privacy wants personalised or non-personalised, not "maybe")";
    }

    void helpVersionAndMistakesNeedNoDisplay()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, said);
        QProcess game;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("DISPLAY");
        environment.remove("WAYLAND_DISPLAY");
        environment.insert("QT_QPA_PLATFORM", "xcb");
        game.setProcessEnvironment(environment);
        game.start(VELMORA_BINARY, arguments);
        QVERIFY(game.waitForFinished(30000));
        QCOMPARE(game.exitStatus(), QProcess::NormalExit);
        QCOMPARE(game.exitCode(), status);
        const QString out = QString::fromLocal8Bit(game.readAllStandardOutput());
        const QString err = QString::fromLocal8Bit(game.readAllStandardError());
        QVERIFY2(QRegularExpression(said).match(status == 0 ? out : err).hasMatch(), qPrintable(out + err));
        QVERIFY2((status == 0 ? err : out).isEmpty(), qPrintable(out + err));
    }

    void valuesReachTheGameAndQtKeepsItsOwn_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<std::optional<int>>("scale");
        QTest::addColumn<QString>("directory");
        QTest::addColumn<std::optional<int>>("rounds");
        QTest::addColumn<double>("roundLimit");
        QTest::addColumn<std::optional<bool>>("personalised");

        QTest::newRow("none") << QStringList{} << std::optional<int>() << QString() << std::optional<int>() << 60.0
                              << std::optional<bool>();
        QTest::newRow("all, both spellings")
            << QStringList{"--scale=3", "--screenshot", "shots", "--autoplay=0", "--round-limit", "0.25",
                           "--privacy=non-personalised"}
            << std::optional<int>(3) << "shots" << std::optional<int>(0) << 0.25 << std::optional<bool>(false);
        QTest::newRow("Qt's options between ours")
            << QStringList{"-platform", "offscreen", "--autoplay", "2", "-style=fusion", "-reverse", "--style", "fusion",
                           "--privacy", "personalised"}
            << std::optional<int>() << QString() << std::optional<int>(2) << 60.0 << std::optional<bool>(true);
        QTest::newRow("the web engine's after its marker")
            << QStringList{"--scale", "1", "--webEngineArgs", "--remote-debugging-port=9222", "--scale", "x"}
            << std::optional<int>(1) << QString() << std::optional<int>() << 60.0 << std::optional<bool>();
    }

    void valuesReachTheGameAndQtKeepsItsOwn()
    {
        QFETCH(QStringList, arguments);
        GameOptions options;
        QCOMPARE(options.parse(QStringList{"velmora"} + arguments), GameOptions::Outcome::Play);
        QTEST(options.scale(), "scale");
        QTEST(options.screenshotDirectory(), "directory");
        QTEST(options.autoplayRounds(), "rounds");
        QTEST(options.roundLimitSeconds(), "roundLimit");
        QTEST(options.personalisedAds(), "personalised");
    }

    void adNetworkHostsComeFromTheCommandLine()
    {
        GameOptions options;
        QCOMPARE(options.parse({"velmora", "--ad-host", "ads.example:8080", "--static-host=cdn.example"}),
                 GameOptions::Outcome::Play);
        QCOMPARE(TSKNetworkConfiguration::adServerHost(), QString("ads.example:8080"));
        QCOMPARE(TSKNetworkConfiguration::staticContentHost(), QString("cdn.example"));
        QCOMPARE(TSKNetworkConfiguration::clickTrackingDomainSuffix(), QString("ads.example"));
    }

    // Last: it runs the application's event loop to its end.
    void controlQQuits()
    {
        VelmoraAppDelegate delegate;
        delegate.window()->show();
        delegate.window()->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(delegate.window()));
        QTimer::singleShot(0, [&] { QTest::keyClick(delegate.window(), Qt::Key_Q, Qt::ControlModifier); });
        // Only a safety net: without the shortcut the loop ends here, with another status.
        QTimer::singleShot(30000, [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 0);
    }
};

VELMORA_TEST_MAIN(TestDesktop)
#include "tst_desktop.moc"
