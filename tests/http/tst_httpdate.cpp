#include "HTTPDate.h"
#include "TestMain.h"

#include <QTimeZone>

class TestHTTPDate : public QObject
{
    Q_OBJECT
private slots:
    void readsOnlyTheZonelessForm_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected");
        const QDateTime instant(QDate(2011, 11, 15), QTime(8, 12, 31), QTimeZone::utc());
        QTest::newRow("cut before the zone") << "Tue, 15 Nov 2011 08:12:31 " << instant;
        QTest::newRow("any case, one-digit day") << "sun, 6 nov 1994 08:49:37" << QDateTime(QDate(1994, 11, 6), QTime(8, 49, 37), QTimeZone::utc());
        QTest::newRow("weekday not checked") << "Mon, 15 Nov 2011 08:12:31" << instant;
        QTest::newRow("zone word left on") << "Tue, 15 Nov 2011 08:12:31 GMT" << QDateTime();
        QTest::newRow("obsolete long form") << "Tuesday, 15-Nov-11 08:12:31" << QDateTime();
        QTest::newRow("asctime form") << "Tue Nov 15 08:12:31 2011" << QDateTime();
        QTest::newRow("no such day") << "Tue, 31 Feb 2011 08:12:31" << QDateTime();
        QTest::newRow("hour 24") << "Tue, 15 Nov 2011 24:00:00" << QDateTime();
        QTest::newRow("foreign digits") << QString::fromUtf8("Tue, \u0661\u0665 Nov 2011 08:12:31") << QDateTime();
        QTest::newRow("cut short") << "Tue, 15 Nov 2011 08:12" << QDateTime();
        QTest::newRow("empty") << "" << QDateTime();
    }

    void readsOnlyTheZonelessForm()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const std::optional<QDateTime> parsed = HTTPDate::parse(text);
        QCOMPARE(parsed.has_value(), expected.isValid());
        if (parsed)
            QCOMPARE(*parsed, expected);
    }

    void writesEnglishNamesWithoutTheZone()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        const QDateTime local(QDate(2011, 11, 15), QTime(9, 12, 31), QTimeZone(3600));
        QCOMPARE(HTTPDate::format(local), "Tue, 15 Nov 2011 08:12:31");
        QCOMPARE(HTTPDate::withoutZone("Tue, 15 Nov 2011 08:12:31 GMT"), "Tue, 15 Nov 2011 08:12:31 ");
        QCOMPARE(HTTPDate::withoutZone("no zone"), "no zone");
        QLocale::setDefault(QLocale::c());
    }
};

VELMORA_TEST_MAIN(TestHTTPDate)
#include "tst_httpdate.moc"
