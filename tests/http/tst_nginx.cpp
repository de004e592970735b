#include "CachedFileRecorder.h"
#include "Network/TSKClickTracker.h"
#include "NginxServer.h"
#include "TestMain.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>
#include <memory>

class ReportRecorder : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void trackerDidRedirect(TSKClickTracker *, const QUrl &url) { redirects.append(url); }
    Q_INVOKABLE void trackerDidFailWithError(TSKClickTracker *, const std::optional<Error> &) { ++failures; }
    QList<QUrl> redirects;
    int failures = 0;
};

namespace {

const QString locations = QStringLiteral("location = /click { return 302 /store; }\n"
                                         "location = /store { return 302 \"velmora-store://app/42\"; }\n");

bool writeStaticFile(const QString &path, const QByteArray &body, const QDateTime &modified)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(body) != body.size())
        return false;
    file.close();  // the final write would move the date again
    return file.open(QIODevice::ReadOnly) && file.setFileTime(modified, QFileDevice::FileModificationTime);
}

QDateTime modificationTime(const QString &path)
{
    return QFileInfo(path).fileTime(QFileDevice::FileModificationTime).toUTC();
}

}  // namespace

// The same behaviour as against the scripted server, but judged by a web
// server nobody here wrote.
class TestNginx : public QObject
{
    Q_OBJECT
    std::unique_ptr<NginxServer> nginx;

private slots:
    void initTestCase()
    {
        nginx = std::make_unique<NginxServer>(locations);
        const QString problem = nginx->start();
        if (!problem.isNull())
            QFAIL(qPrintable(problem));
    }

    void cleanupTestCase() { nginx.reset(); }

    void cachedFileRevalidatesWithNginx()
    {
        const QDateTime published(QDate(2011, 11, 15), QTime(8, 12, 31), QTimeZone::utc());
        const QString served = nginx->documentRoot() + "/sdk-core.js";
        QVERIFY(writeStaticFile(served, "function build() {}", published));

        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, nginx->url("/sdk-core.js"));
        file.validate();
        QTRY_COMPARE(recorder.ended, 1);
        QCOMPARE(file.content(), "function build() {}");
        QCOMPARE(file.httpHeaders().value("Last-Modified").toString(), "Tue, 15 Nov 2011 08:12:31 GMT");
        QCOMPARE(modificationTime(file.filePath()), published);

        // nginx compares If-Modified-Since with the file's date exactly.
        file.validate();
        QTRY_COMPARE(recorder.ended, 2);
        QCOMPARE(file.httpStatusCode(), 304);
        QTRY_COMPARE(nginx->accessLog().size(), 2);
        QCOMPARE(nginx->accessLog(), (QStringList{"/sdk-core.js|-|200", "/sdk-core.js|Tue, 15 Nov 2011 08:12:31|304"}));

        // A new version on the server replaces the file and its date.
        const QDateTime republished = published.addDays(400);
        QVERIFY(writeStaticFile(served, "function build() { return 2; }", republished));
        file.validate();
        QTRY_COMPARE(recorder.ended, 3);
        QCOMPARE(file.httpStatusCode(), 200);
        QCOMPARE(file.content(), "function build() { return 2; }");
        QCOMPARE(modificationTime(file.filePath()), republished);
        QCOMPARE(recorder.failures.size(), 0);
    }

    void trackerStopsWhereNginxLeavesHTTP()
    {
        ReportRecorder recorder;
        TSKClickTracker tracker;
        tracker.setDelegate(&recorder);
        tracker.trackURL(nginx->url("/click"));
        QTRY_VERIFY(tracker.hasTracked());
        QCOMPARE(recorder.redirects, QList<QUrl>{QUrl("velmora-store://app/42")});
        QCOMPARE(recorder.failures, 0);
        QTRY_VERIFY(nginx->accessLog().contains("/click|-|302"));
        QTRY_VERIFY(nginx->accessLog().contains("/store|-|302"));
    }
};

VELMORA_TEST_MAIN(TestNginx)
#include "tst_nginx.moc"
