#include "HttpTestSupport.h"
#include "TestMain.h"

#include <QTimeZone>

namespace {

// Flushed before the date is set, so that closing the file does not move it again.
bool writeStaticFile(const QString &path, const QByteArray &body, const QDateTime &modified)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(body) == body.size() && file.flush()
           && file.setFileTime(modified, QFileDevice::FileModificationTime);
}

}  // namespace

// The cached file and the tracker judged by a web server nobody here wrote.
class TestNginx : public QObject
{
    Q_OBJECT
    NginxServer nginx{"location = /click { return 302 /store; }\n"
                      "location = /store { return 302 \"velmora-store://app/42\"; }\n"};

private slots:
    void initTestCase()
    {
        const QString problem = nginx.start();
        QVERIFY2(problem.isNull(), qPrintable(problem));
    }

    void cachedFileRevalidatesWithNginx()
    {
        const QDateTime published(QDate(2011, 11, 15), QTime(8, 12, 31), QTimeZone::utc());
        const QString served = nginx.documentRoot() + "/sdk-core.js";
        QVERIFY(writeStaticFile(served, "function build() {}", published));
        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, nginx.url("/sdk-core.js"));
        QVERIFY(fetch(file, recorder));
        QCOMPARE(file.content(), "function build() {}");
        QCOMPARE(file.httpHeaders().value("Last-Modified").toString(), "Tue, 15 Nov 2011 08:12:31 GMT");
        QCOMPARE(fileTime(file.filePath()), published);

        // nginx compares If-Modified-Since with the file's date exactly.
        QVERIFY(fetch(file, recorder));
        QCOMPARE(file.httpStatusCode(), 304);
        QCOMPARE(fileTime(file.filePath()), published);
        QVERIFY(waitFor([&] { return nginx.accessLog().size() == 2; }));
        QCOMPARE(nginx.accessLog(), (QStringList{"/sdk-core.js|-|200", "/sdk-core.js|Tue, 15 Nov 2011 08:12:31|304"}));

        // A new version on the server replaces the file and its date.
        const QDateTime republished = published.addDays(400);
        QVERIFY(writeStaticFile(served, "function build() { return 2; }", republished));
        QVERIFY(fetch(file, recorder));
        QCOMPARE(file.httpStatusCode(), 200);
        QCOMPARE(file.content(), "function build() { return 2; }");
        QCOMPARE(fileTime(file.filePath()), republished);
        QCOMPARE(recorder.ended, 3);
    }

    void trackerStopsWhereNginxLeavesHTTP()
    {
        TrackerRecorder recorder;
        TSKClickTracker tracker;
        tracker.setDelegate(&recorder);
        QVERIFY(track(tracker, recorder, nginx.url("/click")));
        QVERIFY(tracker.hasTracked());
        QCOMPARE(recorder.redirects, QList<QUrl>{QUrl("velmora-store://app/42")});
        QVERIFY(recorder.failures.isEmpty());
        QVERIFY(waitFor([&] { return nginx.accessLog().contains("/store|-|302"); }));
        QVERIFY(nginx.accessLog().contains("/click|-|302"));
    }
};

VELMORA_TEST_MAIN(TestNginx)
#include "tst_nginx.moc"
