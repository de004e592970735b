#include "PropertyList.h"
#include "TestMain.h"
#include "UserDefaults.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QPoint>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/stat.h>

namespace {

QVariantMap sampleValues()
{
    return {
        {"count", qint64(42)},
        {"ratio", 2.5},
        {"whole", 2.0},
        {"yes", true},
        {"no", false},
        {"text", QStringLiteral("a < b & \"c\"\r\nline 2, ünïcode; =")},
        {"when", QDateTime(QDate(2026, 11, 22), QTime(20, 30, 15, 250), Qt::UTC)},
        {"bytes", QByteArray("\x00\x01\xfe\xff", 4)},
        {"list", QVariantList{qint64(1), QStringLiteral("two"), QVariantMap{{"three", 3.0}}}},
        {"empty", QVariantMap()},
    };
}

// Every stored value comes back with its type, compared through its
// property-list form so that an integer and a real never pass as equal.
void compareAsPropertyList(const QVariant &actual, const QVariant &expected)
{
    QCOMPARE(PropertyList::toXml(actual), PropertyList::toXml(expected));
}

struct ToolResult
{
    int exitCode = -1;
    QByteArray output;
};

ToolResult runTool(const QStringList &arguments)
{
    QProcess tool;
    tool.start(QStringLiteral(DEFAULTS_TOOL), arguments);
    if (!tool.waitForFinished(30000))
        return {};
    return {tool.exitCode(), tool.readAllStandardOutput()};
}

ino_t inodeOf(const QString &path)
{
    struct stat info{};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
}

}  // namespace

class TestUserDefaults : public QObject
{
    Q_OBJECT
private slots:
    void propertyListReadsWhatItWrites()
    {
        const QVariant value = sampleValues();
        for (PropertyList::Form form : {PropertyList::Form::Document, PropertyList::Form::Fragment}) {
            QString error;
            const std::optional<QVariant> back = PropertyList::fromXml(PropertyList::toXml(value, form), &error);
            QVERIFY2(back.has_value(), qPrintable(error));
            QCOMPARE(*back, value);
            QCOMPARE(back->toMap().value("count").typeId(), int(QMetaType::LongLong));
            QCOMPARE(back->toMap().value("whole").typeId(), int(QMetaType::Double));
            QCOMPARE(back->toMap().value("yes").typeId(), int(QMetaType::Bool));
        }
    }

    // Layout a person or another program may produce: doctype, indentation, wrapped data.
    void propertyListReadsHandWrittenDocuments()
    {
        const QByteArray document = "<?xml version=\"1.0\"?>\n<!DOCTYPE plist SYSTEM \"PropertyList.dtd\">\n"
                                    "<plist version=\"1.0\"><dict>\n  <key>id</key> <integer> -7 </integer>\n"
                                    "  <key>on</key> <date>2026-01-02T03:04:05Z</date>\n"
                                    "  <key>icon</key> <data>\n    AAEC\n    /w==\n  </data>\n</dict></plist>\n";
        const QVariantMap map = PropertyList::fromXml(document).value_or(QVariant()).toMap();
        QCOMPARE(map.value("id"), QVariant(qint64(-7)));
        QCOMPARE(map.value("on").toDateTime(), QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC));
        QCOMPARE(map.value("icon").toByteArray(), QByteArray("\x00\x01\x02\xff", 4));
    }

    void propertyListRejectsMalformedDocuments_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("truncated") << QByteArray("<plist><dict><key>a</key><string>b");
        QTest::newRow("unknown element") << QByteArray("<plist><thing/></plist>");
        QTest::newRow("key without value") << QByteArray("<dict><key>a</key></dict>");
        QTest::newRow("bad integer") << QByteArray("<integer>12abc</integer>");
        QTest::newRow("integer overflow") << QByteArray("<integer>99999999999999999999</integer>");
        QTest::newRow("bad date") << QByteArray("<date>yesterday</date>");
        QTest::newRow("bad data") << QByteArray("<data>!!!</data>");
        QTest::newRow("two values in plist") << QByteArray("<plist><true/><false/></plist>");
        QTest::newRow("too deep") << QByteArray("<array>").repeated(5000) + QByteArray("</array>").repeated(5000);
    }

    void propertyListRejectsMalformedDocuments()
    {
        QFETCH(QByteArray, xml);
        QString error;
        QVERIFY(!PropertyList::fromXml(xml, &error).has_value());
        QVERIFY(!error.isEmpty());
    }

    // Each direction crosses a process boundary, so nothing is answered from memory.
    void synchronizedValuesReachAnotherProcess()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("defaults.ini");
        UserDefaults defaults(path);
        defaults.setObjectForKey(sampleValues(), "sample");
        QVERIFY(defaults.synchronize());

        const ToolResult read = runTool({path, "get", "sample"});
        QCOMPARE(read.exitCode, 0);
        compareAsPropertyList(*PropertyList::fromXml(read.output), sampleValues());

        const ToolResult written = runTool({path, "set", "fromTool", "<dict><key>n</key><integer>7</integer></dict>"});
        QCOMPARE(written.exitCode, 0);
        QVERIFY(defaults.synchronize());
        QCOMPARE(defaults.dictionaryForKey("fromTool").value("n"), QVariant(qint64(7)));
        compareAsPropertyList(defaults.objectForKey("sample"), sampleValues());

        defaults.removeObjectForKey("sample");
        QVERIFY(defaults.synchronize());
        QCOMPARE(runTool({path, "get", "sample"}).exitCode, 1);
    }

    void synchronizeReplacesTheFileInsteadOfRewritingIt()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("defaults.ini");
        UserDefaults defaults(path);
        defaults.setObjectForKey(qint64(1), "n");
        QVERIFY(defaults.synchronize());
        const ino_t before = inodeOf(path);
        QVERIFY(before != 0);

        defaults.setObjectForKey(qint64(2), "n");
        QVERIFY(defaults.synchronize());
        QVERIFY(inodeOf(path) != before);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"defaults.ini"});
        QCOMPARE(runTool({path, "get", "n"}).output, QByteArray("<integer>2</integer>"));
    }

    void damagedStoresLoadWhatIsReadableAndHeal_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("readableKeys");
        const QByteArray good = "[General]\ngood=<integer>5</integer>\n";
        QTest::newRow("binary garbage") << QByteArray("\x00\x9f\xff[\x01=\n\x00", 9) << QStringList{};
        QTest::newRow("truncated value") << good + "cut=<dict><key>a</key><str" << QStringList{"good"};
        QTest::newRow("not property lists") << good + "plain=hello\nnumber=12\n" << QStringList{"good"};
        QTest::newRow("settings-typed value") << good + "typed=@Variant(\\0\\0\\0\\x7f\\0\\0)\n" << QStringList{"good"};
        QTest::newRow("broken section") << QByteArray("[General\ngood=<integer>5</integer>\n") << QStringList{};
    }

    void damagedStoresLoadWhatIsReadableAndHeal()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, readableKeys);
        QTemporaryDir dir;
        const QString path = dir.filePath("defaults.ini");
        writeFile(path, content);

        UserDefaults defaults(path);
        for (const QString &key : readableKeys)
            QCOMPARE(defaults.objectForKey(key), QVariant(qint64(5)));
        for (const QString key : {"cut", "plain", "number", "typed"})
            QVERIFY(!defaults.objectForKey(key).isValid());

        defaults.setObjectForKey(QStringLiteral("fresh"), "new");
        QVERIFY(defaults.synchronize());
        QCOMPARE(runTool({path, "get", "new"}).output, QByteArray("<string>fresh</string>"));
        for (const QString &key : readableKeys)
            QCOMPARE(runTool({path, "get", key}).output, QByteArray("<integer>5</integer>"));
    }

    void refusesValuesWithoutPropertyListForm()
    {
        QTemporaryDir dir;
        UserDefaults defaults(dir.filePath("defaults.ini"));
        defaults.setObjectForKey(QVariantMap{{"p", QPoint(1, 2)}}, "point");
        QVERIFY(!defaults.objectForKey("point").isValid());
        defaults.setObjectForKey(QStringLiteral("x"), "kept");
        defaults.setObjectForKey(QVariant(), "kept");
        QVERIFY(!defaults.objectForKey("kept").isValid());
    }

    void preferredLanguagesComeFromTheSystemUnlessStored()
    {
        QTemporaryDir dir;
        UserDefaults defaults(dir.filePath("defaults.ini"));
        QCOMPARE(defaults.objectForKey(UserDefaults::PreferredLanguagesKey).toStringList(),
                 QLocale::system().uiLanguages());
        defaults.setObjectForKey(QStringList{"en-GB", "fr"}, UserDefaults::PreferredLanguagesKey);
        QCOMPARE(defaults.arrayForKey(UserDefaults::PreferredLanguagesKey).value(0).toString(), QStringLiteral("en-GB"));
    }
};

VELMORA_TEST_MAIN(TestUserDefaults)
#include "tst_userdefaults.moc"
