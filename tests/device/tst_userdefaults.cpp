#include "PropertyList.h"
#include "TestMain.h"
#include "UserDefaults.h"

#include <QDateTime>
#include <QDir>
#include <QLocale>
#include <QPoint>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/stat.h>

using namespace Velmora::Platform;

namespace {

const QVariantMap Sample{{"count", qint64(42)}, {"ratio", 2.5}, {"whole", 2.0}, {"yes", true},
                         {"text", QStringLiteral("a < b & \"c\"\r\nline 2, ünïcode; =")},
                         {"when", QDateTime(QDate(2026, 11, 22), QTime(20, 30, 15, 250), Qt::UTC)},
                         {"bytes", QByteArray("\x00\x01\xfe\xff", 4)}, {"empty", QVariantMap()},
                         {"list", QVariantList{qint64(1), QStringLiteral("two"), QVariantMap{{"three", 3.0}}}}};

// What the other process prints for the key (property-list XML), or nothing when it fails.
std::optional<QByteArray> runTool(const QStringList &arguments)
{
    QProcess tool;
    tool.start(QStringLiteral(DEFAULTS_TOOL), arguments);
    if (!tool.waitForFinished(30000) || tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0)
        return std::nullopt;
    return tool.readAllStandardOutput();
}

ino_t inodeOf(const QString &path)
{
    struct stat info{};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

}  // namespace

class TestUserDefaults : public QObject
{
    Q_OBJECT
private slots:
    void propertyListReadsAnyLayoutAndRejectsMalformedDocuments()
    {
        // Layout a person or another program may produce: doctype, indentation, wrapped data.
        const QByteArray handWritten = "<?xml version=\"1.0\"?>\n<!DOCTYPE plist SYSTEM \"PropertyList.dtd\">\n"
                                       "<plist version=\"1.0\"><dict>\n  <key>id</key> <integer> -7 </integer>\n"
                                       "  <key>on</key> <date>2026-01-02T03:04:05Z</date>\n"
                                       "  <key>icon</key> <data>\n    AAEC\n    /w==\n  </data>\n</dict></plist>\n";
        QCOMPARE(PropertyList::fromXml(handWritten).value_or(QVariant()),
                 QVariant(QVariantMap{{"id", qint64(-7)}, {"on", QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC)},
                                      {"icon", QByteArray("\x00\x01\x02\xff", 4)}}));
        const QList<QByteArray> malformed{
            "", "<plist><dict><key>a</key><string>b", "<plist><thing/></plist>", "<dict><key>a</key></dict>",
            "<integer>12abc</integer>", "<integer>99999999999999999999</integer>", "<date>yesterday</date>",
            "<data>!!!</data>", "<plist><true/><false/></plist>",
            QByteArray("<array>").repeated(5000) + QByteArray("</array>").repeated(5000)};  // too deep
        for (const QByteArray &xml : malformed) {
            QString error;
            QVERIFY2(!PropertyList::fromXml(xml, &error) && !error.isEmpty(), xml.left(60).constData());
        }
    }

    // Each direction crosses a process boundary, so nothing is answered from memory;
    // values are compared in their written form so that an integer never passes for a real.
    void synchronizedValuesReachAnotherProcessByAtomicReplace()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("defaults.ini");
        UserDefaults defaults(path);
        defaults.setObjectForKey(Sample, "sample");
        defaults.setObjectForKey(false, "alone");  // an empty element with nothing after it to close it
        QVERIFY(defaults.synchronize());
        QCOMPARE(runTool({path, "get", "sample"}), PropertyList::toXml(Sample, PropertyList::Form::Fragment));
        QCOMPARE(defaults.objectForKey("alone"), QVariant(false));

        QVERIFY(runTool({path, "set", "fromTool", "<dict><key>n</key><integer>7</integer></dict>"}));
        const ino_t before = inodeOf(path);
        QVERIFY(defaults.synchronize());
        QCOMPARE(defaults.dictionaryForKey("fromTool").value("n"), QVariant(qint64(7)));
        QCOMPARE(PropertyList::toXml(defaults.objectForKey("sample")), PropertyList::toXml(Sample));

        // A crash while writing leaves the old file whole: the new one is renamed over it.
        defaults.removeObjectForKey("sample");
        QVERIFY(defaults.synchronize());
        QVERIFY(inodeOf(path) != before);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"defaults.ini"});
        QCOMPARE(runTool({path, "get", "sample"}), std::nullopt);
        QCOMPARE(runTool({path, "get", "fromTool"}), QByteArray("<dict><key>n</key><integer>7</integer></dict>"));

        // Only property-list values are stored; the languages default to the system's.
        defaults.setObjectForKey(QVariantMap{{"p", QPoint(1, 2)}}, "point");
        QVERIFY(!defaults.objectForKey("point").isValid());
        defaults.setObjectForKey(QStringLiteral("x"), "kept");
        defaults.setObjectForKey(QVariant(), "kept");  // removes
        QVERIFY(!defaults.objectForKey("kept").isValid());

        QCOMPARE(defaults.objectForKey(UserDefaults::PreferredLanguagesKey).toStringList(), QLocale::system().uiLanguages());
        defaults.setObjectForKey(QStringList{"en-GB", "fr"}, UserDefaults::PreferredLanguagesKey);
        QCOMPARE(defaults.arrayForKey(UserDefaults::PreferredLanguagesKey).value(0).toString(), QStringLiteral("en-GB"));
    }

    void damagedStoresLoadWhatIsReadableAndHeal_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("goodKept");
        const QByteArray good = "[General]\ngood=<integer>5</integer>\n";
        QTest::newRow("binary garbage") << QByteArray("\x00\x9f\xff[\x01=\n\x00", 9) << false;
        QTest::newRow("truncated value") << good + "cut=<dict><key>a</key><str" << true;
        QTest::newRow("not property lists") << good + "plain=hello\nnumber=12\n" << true;
        QTest::newRow("settings-typed value") << good + "typed=@Variant(\\0\\0\\0\\x7f\\0\\0)\n" << true;
        QTest::newRow("broken section") << QByteArray("[General\ngood=<integer>5</integer>\n") << true;
    }

    void damagedStoresLoadWhatIsReadableAndHeal()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, goodKept);
        QTemporaryDir dir;
        const QString path = dir.filePath("defaults.ini");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush());

        UserDefaults defaults(path);
        QCOMPARE(defaults.objectForKey("good"), goodKept ? QVariant(qint64(5)) : QVariant());
        for (const QString key : {"cut", "plain", "number", "typed"})
            QVERIFY(!defaults.objectForKey(key).isValid());
        defaults.setObjectForKey(QStringLiteral("fresh"), "new");
        QVERIFY(defaults.synchronize());
        QCOMPARE(runTool({path, "get", "new"}), QByteArray("<string>fresh</string>"));
        QCOMPARE(runTool({path, "get", "good"}), goodKept ? std::optional(QByteArray("<integer>5</integer>")) : std::nullopt);
    }
};

VELMORA_TEST_MAIN(TestUserDefaults)
#include "tst_userdefaults.moc"
