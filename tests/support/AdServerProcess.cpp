#include "AdServerProcess.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QTest>

#include <csignal>

namespace testsupport {

AdServerProcess::AdServerProcess(const QStringList &arguments, const QString &dir) : dir_(dir.isEmpty() ? ownDir_.path() : dir)
{
    // VELMORA_KEEP_TEST_LOGS keeps each server's request log for a look afterwards.
    if (qEnvironmentVariableIsSet("VELMORA_KEEP_TEST_LOGS")) {
        ownDir_.setAutoRemove(false);
        qInfo("velmora-adserver request log: %s", qPrintable(logPath()));
    }
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // Checks read /stats right after what they count.
    process_.start(QStringLiteral(VELMORA_ADSERVER_BINARY),
                   QStringList{"--port", "0", "--www", VELMORA_ADSERVER_WWW, "--log", logPath(), "--stats-interval", "0"}
                       + arguments);
    static const QRegularExpression listening(QStringLiteral("listening on http://127\\.0\\.0\\.1:(\\d+) .*admin: http://127\\.0\\.0\\.1:(\\d+)"));
    QByteArray output;
    const QDeadlineTimer deadline(20000);
    while (!deadline.hasExpired() && process_.state() != QProcess::NotRunning) {
        process_.waitForReadyRead(100);
        output += process_.readAllStandardOutput();
        if (const QRegularExpressionMatch match = listening.match(QString::fromUtf8(output)); match.hasMatch()) {
            port_ = match.captured(1).toInt();
            adminPort_ = match.captured(2).toInt();
            return;
        }
    }
    qWarning("velmora-adserver did not start: %s", output.constData());
}

AdServerProcess::~AdServerProcess()
{
    process_.terminate();
    if (!process_.waitForFinished(5000))
        process_.kill();
    process_.waitForFinished(5000);
}

void AdServerProcess::signal(int number)
{
    ::kill(pid_t(process_.processId()), number);
}

int AdServerProcess::stop(int number)
{
    if (process_.state() != QProcess::NotRunning) {
        signal(number);
        process_.waitForFinished(30000);
    }
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

QList<QJsonObject> AdServerProcess::requests() const
{
    QFile file(logPath());
    QList<QJsonObject> lines;
    if (!file.open(QIODevice::ReadOnly))
        return lines;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (!line.trimmed().isEmpty())
            lines.append(QJsonDocument::fromJson(line).object());
    }
    return lines;
}

QList<QJsonObject> AdServerProcess::requestsTo(const QString &path) const
{
    QList<QJsonObject> matching = requests();
    matching.removeIf([&path](const QJsonObject &request) { return request.value(QStringLiteral("path")).toString() != path; });
    return matching;
}

QJsonObject AdServerProcess::stats() const
{
    QNetworkAccessManager network;
    std::unique_ptr<QNetworkReply> reply(network.get(QNetworkRequest(QUrl(QStringLiteral("http://%1/stats").arg(adminHost())))));
    if (!QTest::qWaitFor([&] { return reply->isFinished(); }, 20000))
        return {};
    return QJsonDocument::fromJson(reply->readAll()).object();
}

QString AdServerProcess::siteServing(const QTemporaryDir &dir, const QString &creative)
{
    const QString source = siteDirectory();
    const QString site = dir.filePath("www");
    QDirIterator files(source, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString file = files.next();
        const QString copy = site + file.mid(source.size());
        QDir().mkpath(QFileInfo(copy).absolutePath());
        QFile::copy(file, copy);
    }
    QFile catalogue(site + "/creatives/catalogue.json");
    catalogue.open(QIODevice::ReadOnly);
    QJsonArray kept;
    for (const QJsonValue entry : QJsonDocument::fromJson(catalogue.readAll()).array()) {
        if (entry["id"].toString() == creative)
            kept.append(entry);
    }
    catalogue.close();
    catalogue.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    catalogue.open(QIODevice::WriteOnly | QIODevice::Truncate);
    catalogue.write(QJsonDocument(kept).toJson());
    return site;
}

}  // namespace testsupport
