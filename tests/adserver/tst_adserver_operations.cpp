#include "AdServer.h"
#include "PostgresCluster.h"
#include "ServerOptions.h"
#include "TestMain.h"
#include "store/CountStore.h"
#include "store/GroupCommit.h"
#include "store/RequestLog.h"
#include "transport/HttpTransport.h"
#include "transport/TransportCounters.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <arpa/inet.h>
#include <atomic>
#include <cstring>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const QByteArray adRequest = "/ad?slotname=" + ServerOptions::gameAdUnit.toLatin1() + "&preqs=1";

QByteArray get(const QByteArray &target, const QByteArray &headers = "Host: x\r\n")
{
    return "GET " + target + " HTTP/1.1\r\n" + headers + "\r\n";
}

// A client on a plain socket that writes exactly the bytes it is given.
class RawClient
{
public:
    struct Response
    {
        int status = 0;
        QByteArray headers;
        QByteArray body;
    };

    explicit RawClient(quint16 port, const QHostAddress &from = {})
    {
        if (!from.isNull())
            socket_.bind(from);
        socket_.connectToHost(QHostAddress::LocalHost, port);
        socket_.waitForConnected(10000);
    }

    void send(const QByteArray &bytes)
    {
        socket_.write(bytes);
        socket_.waitForBytesWritten(10000);
    }

    // The next response, or status 0 when the server hung up first.
    Response read()
    {
        while (!buffer_.contains("\r\n\r\n") && waitForData()) {}
        const qsizetype end = buffer_.indexOf("\r\n\r\n");
        if (end < 0)
            return {};
        Response response{buffer_.mid(9, 3).toInt(), buffer_.left(end + 2), {}};
        static const QRegularExpression lengthField(QStringLiteral("(?im)^content-length: *(\\d+)"));
        const qsizetype length = lengthField.match(QString::fromLatin1(response.headers)).captured(1).toLongLong();
        while (buffer_.size() < end + 4 + length && waitForData()) {}
        response.body = buffer_.mid(end + 4, length);
        buffer_.remove(0, end + 4 + length);
        return response;
    }

    // Whether the server closes the connection (without sending anything more) within the wait.
    bool closedByServer(int waitMs = 20000)
    {
        while (waitForData(waitMs)) {}
        return socket_.state() == QAbstractSocket::UnconnectedState && buffer_.isEmpty();
    }

private:
    bool waitForData(int waitMs = 10000)
    {
        if (socket_.bytesAvailable() == 0 && !socket_.waitForReadyRead(waitMs))
            return false;
        buffer_ += socket_.readAll();
        return true;
    }

    QTcpSocket socket_;
    QByteArray buffer_;
};

// velmora-adserver as its own process, so signals can be sent to it; its
// request log and database live in `dir`.
class ServerProcess
{
public:
    ServerProcess(const QString &dir, const QStringList &arguments = {})
    {
        process_.start(QStringLiteral(VELMORA_ADSERVER_BINARY),
                       QStringList{"--port", "0", "--www", VELMORA_ADSERVER_WWW, "--log", dir + "/requests.jsonl", "--stats-interval", "0"}
                           + arguments);
        process_.waitForReadyRead(30000);
        const QString banner = QString::fromLatin1(process_.readLine());
        port_ = QRegularExpression("127\\.0\\.0\\.1:(\\d+)").match(banner).captured(1).toUShort();
        adminPort_ = QRegularExpression("admin: http://127\\.0\\.0\\.1:(\\d+)").match(banner).captured(1).toUShort();
    }
    ~ServerProcess() { stop(SIGKILL); }

    quint16 port() const { return port_; }
    quint16 adminPort() const { return adminPort_; }
    RawClient::Response get(const QByteArray &target, bool admin = false)
    {
        RawClient client(admin ? adminPort_ : port_);
        client.send(::get(target));
        return client.read();
    }
    QJsonObject stats() { return QJsonDocument::fromJson(get("/stats", true).body).object(); }
    void signal(int number) { ::kill(pid_t(process_.processId()), number); }
    // Exit code after the signal, -1 when it was killed.
    int stop(int number = SIGTERM)
    {
        if (process_.state() == QProcess::NotRunning)
            return process_.exitCode();
        signal(number);
        process_.waitForFinished(30000);
        return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
    }
    QByteArray errorOutput() { return process_.readAllStandardError(); }
    qint64 pid() const { return process_.processId(); }

private:
    QProcess process_;
    quint16 port_ = 0;
    quint16 adminPort_ = 0;
};

// The same server in this process, for checks that need no signals.
class InProcessServer
{
public:
    explicit InProcessServer(const QStringList &arguments = {})
    {
        ServerOptions options;
        QString error;
        const QStringList all = QStringList{"velmora-adserver", "--port", "0", "--www", VELMORA_ADSERVER_WWW, "--log", "",
                                            "--stats-interval", "0"}
            + arguments;
        if (!options.parse(all, &error))
            qFatal("bad arguments: %s", qPrintable(error));
        server_ = std::make_unique<AdServer>(options);
        if (!server_->start(&error))
            qFatal("server did not start: %s", qPrintable(error));
    }
    quint16 port() const { return server_->port(); }
    quint16 adminPort() const { return QUrl(QString::fromLatin1(server_->adminUrl())).port(); }
    QByteArray base() const { return server_->baseUrl(); }
    QByteArray adminBase() const { return server_->adminUrl(); }
    const TransportCounters &counters(AdServer::Listener listener = AdServer::Listener::clients) const
    {
        return server_->transportCounters(listener);
    }

private:
    std::unique_ptr<AdServer> server_;
};

qint64 countInDatabase(const QString &path, const char *name)
{
    sqlite3 *db = nullptr;
    sqlite3_stmt *statement = nullptr;
    qint64 value = -1;
    if (sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK
        && sqlite3_prepare_v2(db, "SELECT value FROM counts WHERE unit = '' AND name = ?", -1, &statement, nullptr) == SQLITE_OK
        && sqlite3_bind_text(statement, 1, name, -1, SQLITE_STATIC) == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW)
        value = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return value;
}

QByteArray fileText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A line of /proc/PID/status, in kB.
qint64 memoryKb(qint64 pid, const QByteArray &field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(field.size()).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

// TCP_NODELAY on this process's accepted socket on `port` (the only one), -1 when none is found.
int serverSideNoDelay(quint16 port)
{
    DIR *fds = ::opendir("/proc/self/fd");
    int found = -1;
    while (dirent *entry = fds ? ::readdir(fds) : nullptr) {
        const int fd = std::atoi(entry->d_name);
        sockaddr_in local{}, peer{};
        socklen_t localSize = sizeof local, peerSize = sizeof peer;
        if (::getsockname(fd, reinterpret_cast<sockaddr *>(&local), &localSize) != 0 || local.sin_family != AF_INET
            || ntohs(local.sin_port) != port || ::getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &peerSize) != 0)
            continue;
        int value = 0;
        socklen_t size = sizeof value;
        if (::getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &value, &size) == 0)
            found = value ? 1 : 0;
    }
    if (fds)
        ::closedir(fds);
    return found;
}

// Series name with labels -> value, from the text format.
QMap<QString, double> parseMetrics(const QByteArray &page)
{
    QMap<QString, double> values;
    for (const QByteArray &line : page.split('\n')) {
        const qsizetype space = line.lastIndexOf(' ');
        if (!line.isEmpty() && !line.startsWith('#') && space > 0)
            values.insert(QString::fromUtf8(line.left(space)), line.mid(space + 1).toDouble());
    }
    return values;
}

const QByteArray impression = "/track/impression?unit=" + ServerOptions::gameAdUnit.toLatin1() + "&creative=club";

qint64 impressions(const QJsonObject &stats)
{
    return QJsonValue(stats)["units"][ServerOptions::gameAdUnit]["creatives"]["club"]["impressions"].toInteger(-1);
}

// Keep-alive clients sending impressions as fast as they are answered, each
// noting what it sent and what it was told; a client stops when its server
// hangs up.
class TrackerLoad
{
public:
    TrackerLoad(const QList<quint16> &ports, int clientsPerPort)
    {
        for (const quint16 port : ports) {
            for (int i = 0; i < clientsPerPort; ++i)
                clients_.emplace_back([this, port] { send(port); });
        }
    }
    ~TrackerLoad() { finish(); }

    void finish()
    {
        stopping_ = true;
        for (std::thread &client : clients_) {
            if (client.joinable())
                client.join();
        }
    }
    qint64 answered() const { return acknowledged + refused; }

    std::atomic<qint64> sent{0};
    std::atomic<qint64> acknowledged{0};
    std::atomic<qint64> refused{0};
    std::atomic<qint64> other{0};

private:
    void send(quint16 port)
    {
        RawClient client(port);
        while (!stopping_) {
            ++sent;
            client.send(get(impression));
            const int status = client.read().status;
            if (status == 0)
                return;
            ++(status == 200 ? acknowledged : status == 503 ? refused : other);
        }
    }

    std::atomic<bool> stopping_{false};
    std::vector<std::thread> clients_;
};

qsizetype loggedAdRequests(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().count("\"path\":\"/ad\"") : 0;
}

}  // namespace

class TestAdServerOperations : public QObject
{
    Q_OBJECT

private slots:
    // Raw bytes to a server started with `arguments`: the statuses answered in
    // order, and whether the server then closes the connection or answers another request on it.
    void rawExchanges_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QList<int>>("statuses");
        QTest::addColumn<bool>("closes");
        auto row = [](const char *name, const QByteArray &request, const QList<int> &statuses, bool closes, const QString &arguments = {}) {
            QTest::newRow(name) << arguments << request << statuses << closes;
        };
        QByteArray headers, fields, parameters;
        for (int i = 0; i < 10; ++i)
            headers += "X-Big-" + QByteArray::number(i) + ": " + QByteArray(2000, 'h') + "\r\n";
        for (int i = 0; i < 101; ++i)
            fields += "X-" + QByteArray::number(i) + ": 1\r\n";
        for (int i = 0; i < 998; ++i)  // with the ad request's two
            parameters += "&k" + QByteArray::number(i) + "=v";

        row("keep-alive", get("/healthz"), {200}, false);
        row("pipelined, answered in order", get("/no/such") + get(adRequest) + get("/healthz"), {404, 302, 200}, false);
        row("POST", "POST /stats HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\nab", {405}, false);
        row("small body read and ignored", "GET /healthz HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabc" + get("/healthz"), {200, 200}, false);
        row("Connection: close", get("/healthz", "Host: x\r\nConnection: close\r\n"), {200}, true);
        row("HTTP/1.0 without Host", "GET /healthz HTTP/1.0\r\n\r\n", {200}, true);
        row("HTTP/9.9", "GET /stats HTTP/9.9\r\nHost: x\r\n\r\n", {505}, true);
        row("HTTP/1.1 without Host", get("/healthz", ""), {400}, true);
        row("two Host fields", get("/healthz", "Host: x\r\nHost: y\r\n"), {400}, true);
        row("header line without a colon", get("/healthz", "Host: x\r\nBad Header\r\n"), {400}, true);
        row("request line over 16 KB", get("/stats?q=" + QByteArray(17000, 'a')), {414}, true);
        row("header block over 16 KB", get("/healthz", "Host: x\r\n" + headers), {431}, true);
        row("101 header fields", get("/healthz", "Host: x\r\n" + fields), {431}, true);
        row("body over 64 KB", "GET /healthz HTTP/1.1\r\nHost: x\r\nContent-Length: 70000\r\n\r\n" + QByteArray(70000, 'b'), {413}, true);
        row("1000 parameters", get(adRequest + parameters), {302}, false);
        row("1001 parameters", get(adRequest + parameters + "&one=more"), {400}, true);
        row("line limit set lower", get("/stats?q=" + QByteArray(2000, 'a')), {414}, true, "--max-header-bytes 1024");
        row("parameter limit set lower", get(adRequest + "&a=1&b=2"), {400}, true, "--max-parameters 3");
        // The operator's pages are not there for clients.
        for (const char *path : {"/stats", "/metrics", "/", "/index.html"})
            row(path, get(path), {404}, false);
        row("NUL in the path", get("/index.html%00.png"), {400}, false);
        row("line break in the path", get("/page/club%0d%0aX:%201"), {400}, false);
    }

    void rawExchanges()
    {
        QFETCH(QString, arguments);
        QFETCH(QByteArray, request);
        QFETCH(QList<int>, statuses);
        QFETCH(bool, closes);
        InProcessServer server(arguments.split(' ', Qt::SkipEmptyParts));
        RawClient client(server.port());
        client.send(request);
        QList<int> answered;
        for (qsizetype i = 0; i < statuses.size(); ++i)
            answered << client.read().status;
        QCOMPARE(answered, statuses);
        if (closes) {
            QVERIFY(client.closedByServer());
        } else {
            client.send(get("/healthz"));
            QCOMPARE(client.read().status, 200);
        }
    }

    void slowAndIdleClientsAreClosed()
    {
        InProcessServer server({"--header-timeout", "1", "--idle-timeout", "1"});
        RawClient slow(server.port()), idle(server.port());
        slow.send("GET /healthz HTTP/1.1\r\nHost: x\r\n");  // never finishes its header block
        idle.send(get("/healthz"));
        QCOMPARE(idle.read().status, 200);
        RawClient normal(server.port());
        normal.send(get(adRequest));
        QCOMPARE(normal.read().status, 302);
        QVERIFY(slow.closedByServer());
        QVERIFY(idle.closedByServer());
    }

    // At the global cap the longest-idle connection makes room; one address
    // gets no more than its share, and the others are still served.
    void oneAddressCannotHoldEveryConnection()
    {
        InProcessServer server({"--max-connections", "6", "--max-connections-per-address", "3"});
        std::vector<std::unique_ptr<RawClient>> hog;
        for (int i = 0; i < 3; ++i)
            hog.push_back(std::make_unique<RawClient>(server.port()));
        RawClient overLimit(server.port());
        QVERIFY(overLimit.closedByServer());

        std::vector<std::unique_ptr<RawClient>> others;
        for (int i = 2; i <= 5; ++i) {
            others.push_back(std::make_unique<RawClient>(server.port(), QHostAddress(QStringLiteral("127.0.0.%1").arg(i))));
            others.back()->send(get("/healthz"));
            QCOMPARE(others.back()->read().status, 200);
        }
        // Six open, the first of the hog's idle longest: it goes, the newcomer stays.
        QVERIFY(hog.front()->closedByServer());
        others.front()->send(get(adRequest));
        QCOMPARE(others.front()->read().status, 302);
        QCOMPARE(server.counters().refusedConnections.load(), 1u);
        QCOMPARE(server.counters().evictedConnections.load(), 1u);
    }

    // An 8 KB file (the dashboard) on a kept-alive connection leaves in one
    // write, with no wait for a delayed ACK between its pieces.
    void repliesLeaveInOneWriteWithoutDelay()
    {
        InProcessServer server;
        RawClient client(server.adminPort());
        client.send(get("/index.html"));
        QCOMPARE(client.read().body.size(), QFileInfo(QStringLiteral(VELMORA_ADSERVER_WWW "/index.html")).size());
        const auto writesBefore = server.counters(AdServer::Listener::admin).writes.load();
        client.send(get("/index.html"));
        QVERIFY(client.read().body.size() > 8000);
        QCOMPARE(server.counters(AdServer::Listener::admin).writes.load() - writesBefore, 1u);
        QCOMPARE(serverSideNoDelay(server.adminPort()), 1);
        client.send(get(adRequest));  // and ads are not served there
        QCOMPARE(client.read().status, 404);
    }

    // A handler that answers later, from another thread: the connection reads
    // nothing more until then, so pipelined answers keep their order.
    void answersLaterKeepTheirOrder()
    {
        std::mutex mutex;
        QStringList handled;
        HttpRequest::Completion pending;
        HttpTransport transport(HttpLimits(), [&](const HttpRequest &request) {
            const std::lock_guard lock(mutex);
            handled << QString::fromStdString(request.path());
            if (request.path() == "/later")
                pending = request.answerLater();
            return Reply::text(200, "now");
        });
        QString error;
        QVERIFY2(transport.listen(QHostAddress::LocalHost, 0, &error), qPrintable(error));
        transport.start(1);
        RawClient client(transport.port());
        client.send(get("/later") + get("/now"));
        QVERIFY(QTest::qWaitFor([&] { const std::lock_guard lock(mutex); return bool(pending); }));
        {
            const std::lock_guard lock(mutex);
            QCOMPARE(handled, QStringList{"/later"});
        }
        std::thread([&] {
            const std::lock_guard lock(mutex);
            pending(Reply::text(200, "later"));
        }).join();
        QCOMPARE(client.read().body, QByteArray("later\n"));
        QCOMPARE(client.read().body, QByteArray("now\n"));
        const std::lock_guard lock(mutex);
        QCOMPARE(handled, QStringList({"/later", "/now"}));
    }

    // Clients that ask for the largest page and never read it: the server
    // holds each reply once, whatever the number of readers.
    void nonReadingClientsHoldLittleMemory()
    {
        rlimit files{};
        getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
        constexpr int clients = 1500;
        QVERIFY2(files.rlim_cur > clients + 100, "needs descriptors for 1,500 clients");

        QTemporaryDir dir;
        ServerProcess server(dir.path(), {"--max-connections-per-address", "2000", "--stats-interval", "5"});
        QByteArray parameters;
        for (int i = 0; i < 997; ++i)  // with the ad request's two, 999
            parameters += "&k" + QByteArray::number(i) + "=";
        RawClient filler(server.port());
        for (int i = 0; i < 100; ++i) {
            filler.send(get(adRequest + parameters));
            QCOMPARE(filler.read().status, 302);
        }
        const qsizetype pageSize = server.get("/stats", true).body.size();
        QVERIFY2(pageSize > 2'500'000, QByteArray::number(pageSize));
        qInfo("/stats is %lld bytes", qint64(pageSize));

        std::vector<int> sockets;
        const QByteArray request = get("/stats");
        for (int i = 0; i < clients; ++i) {
            const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            const int small = 4096;  // keeps what is unread on the server's side
            ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_port = htons(server.adminPort());
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            QVERIFY(::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0);
            QVERIFY(::send(fd, request.constData(), size_t(request.size()), MSG_NOSIGNAL) == request.size());
            sockets.push_back(fd);
        }
        RawClient normal(server.port());
        normal.send(get(adRequest));
        QCOMPARE(normal.read().status, 302);
        const qint64 peakKb = memoryKb(server.pid(), "VmHWM:");
        for (const int fd : sockets)
            ::close(fd);
        qInfo("peak memory with %d clients not reading: %lld kB", clients, peakKb);
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the sanitizer's shadow memory and quarantine dwarf the figure; the normal build checks it");
#endif
        QVERIFY2(peakKb < 200 * 1024, QByteArray::number(peakKb) + " kB at the peak");
    }

    void staticFilesStayInsideTheSite()
    {
        QTemporaryDir dir;
        const QString www = dir.filePath("www");
        QVERIFY(QProcess::execute("cp", {"-r", VELMORA_ADSERVER_WWW, www}) == 0);
        QFile outside(dir.filePath("secret.txt"));
        QVERIFY(outside.open(QIODevice::WriteOnly) && outside.write("secret") == 6);
        outside.close();
        QVERIFY(QFile::link(outside.fileName(), www + "/outside.html"));
        QVERIFY(QFile::link(www + "/landing/story.html", www + "/inside.html"));
        QFile big(www + "/big.bin");
        QVERIFY(big.open(QIODevice::WriteOnly) && big.resize(5 << 20));
        big.close();
        InProcessServer server({"--www", www});
        const QList<QPair<QByteArray, int>> cases{{"/outside.html", 404}, {"/inside.html", 200}, {"/landing/", 200}, {"/big.bin", 200}};
        for (const auto &[path, status] : cases) {
            RawClient client(server.port());
            client.send(get(path));
            const RawClient::Response response = client.read();
            QVERIFY2(response.status == status && !response.body.contains("secret"), path);
            if (path == "/big.bin")
                QCOMPARE(response.body.size(), 5 << 20);
        }
    }

    void countsSurviveRestartAndKill()
    {
        QTemporaryDir dir;
        const QString database = dir.filePath("requests.sqlite"), log = dir.filePath("requests.jsonl");
        {
            ServerProcess server(dir.path());
            for (int i = 0; i < 3; ++i)
                QCOMPARE(server.get(adRequest).status, 302);
            QCOMPARE(server.get("/track/impression?unit=" + ServerOptions::gameAdUnit.toLatin1() + "&creative=club").status, 200);
            QCOMPARE(server.stop(SIGTERM), 0);
        }
        {
            ServerProcess server(dir.path());
            const QJsonObject stats = server.stats();
            QCOMPARE(stats["adRequests"].toInt(), 3);
            QCOMPARE(stats["units"][ServerOptions::gameAdUnit]["creatives"]["club"]["impressions"].toInt(), 1);
            QCOMPARE(server.get(adRequest).status, 302);
            QVERIFY(server.stats()["recent"][0]["id"].toInteger() > 3);  // a new run's ids stay clear of the last one's
            // A committed batch survives kill -9.
            QTRY_COMPARE_WITH_TIMEOUT(countInDatabase(database, "adRequests"), 4, 10000);
            for (int i = 0; i < 40; ++i)
                server.get(adRequest);
            QCOMPARE(server.stop(SIGKILL), -1);
        }
        ServerProcess server(dir.path());  // opens the database kill -9 left behind
        const qint64 counted = server.stats()["adRequests"].toInteger();
        QVERIFY2(counted >= 4 && counted <= loggedAdRequests(log), qPrintable(QString::number(counted)));
    }

    // More trackers than a batch holds, and a shutdown while they wait: every one is
    // answered, stored exactly once, and none rides in an oversized batch.
    void groupCommitAnswersEveryWaitingCount()
    {
        QTemporaryDir dir;
        QString error;
        const std::unique_ptr<CountStore> store = CountStore::open(dir.filePath("counts.sqlite"), &error);
        QVERIFY2(store, qPrintable(error));
        RequestLog log;
        const GroupCommit::Key key{ServerOptions::gameAdUnit, "club", "impressions"};
        const int sent = 3 * int(GroupCommit::batchCounts) + 7;
        std::atomic<int> stored = 0, batches = 0;
        {
            GroupCommit commits(log, *store, {}, std::chrono::milliseconds(50), nullptr,
                                [&batches](std::chrono::duration<double>, bool) { ++batches; });
            for (int i = 0; i < sent; ++i)
                commits.addDurably(key, [&stored](bool ok) { stored += ok; });
            QCOMPARE(commits.counts().at(key), qint64(sent));
        }
        QCOMPARE(stored.load(), sent);
        QVERIFY2(batches >= 4, qPrintable(QString::number(batches)));
        QCOMPARE(store->load()->at(key), qint64(sent));
    }

    // What a client was told is counted survives kill -9 under load.
    void acknowledgedCountsSurviveKill()
    {
        QTemporaryDir dir;
        qint64 sent = 0, acknowledged = 0;
        {
            ServerProcess server(dir.path());
            TrackerLoad load({server.port()}, 4);
            QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged > 500, 20000);
            QCOMPARE(server.stop(SIGKILL), -1);
            load.finish();
            sent = load.sent;
            acknowledged = load.acknowledged;
            QCOMPARE(load.other.load(), 0);
        }
        ServerProcess server(dir.path());
        const qint64 counted = impressions(server.stats());
        QVERIFY2(counted >= acknowledged && counted <= sent,
                 qPrintable(QStringLiteral("%1 counted, %2 acknowledged, %3 sent").arg(counted).arg(acknowledged).arg(sent)));
    }

    // Three servers on one PostgreSQL database: each shows the sum, and one
    // killed under load loses nothing it acknowledged.
    void fleetSharesOneDatabase()
    {
        if (const QString missing = testsupport::PostgresCluster::missingBinaries(); !missing.isEmpty())
            QSKIP(qPrintable("PostgreSQL binaries absent (" + missing + "): install postgresql to run this"));
        testsupport::PostgresCluster database;
        QVERIFY(database.isRunning());
        QTemporaryDir dirs[3];
        std::unique_ptr<ServerProcess> servers[3];
        for (int i = 0; i < 3; ++i)
            servers[i] = std::make_unique<ServerProcess>(dirs[i].path(), QStringList{"--store", database.uri()});
        for (int i = 0; i < 3; ++i) {
            for (int n = 0; n <= i; ++n)
                QCOMPARE(servers[i]->get(impression).status, 200);
        }
        for (const auto &server : servers)  // each rereads the others' counts within a moment
            QTRY_COMPARE_WITH_TIMEOUT(impressions(server->stats()), 6, 5000);
        // Each lists both instances' ad requests, under ids that never collide.
        QVERIFY(servers[0]->get(adRequest).status == 302 && servers[1]->get(adRequest).status == 302);
        for (const auto &server : servers) {
            QTRY_COMPARE_WITH_TIMEOUT(server->stats()["recent"].toArray().size(), 2, 5000);
            QVERIFY(server->stats()["recent"][0]["id"] != server->stats()["recent"][1]["id"]);
        }

        TrackerLoad load({servers[0]->port(), servers[1]->port(), servers[2]->port()}, 2);
        QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged > 600, 30000);
        QCOMPARE(servers[1]->stop(SIGKILL), -1);
        QTest::qWait(200);
        load.finish();
        servers[1] = std::make_unique<ServerProcess>(dirs[1].path(), QStringList{"--store", database.uri()});
        const qint64 counted = impressions(servers[1]->stats());
        QVERIFY2(counted >= 6 + load.acknowledged && counted <= 6 + load.sent,
                 qPrintable(QStringLiteral("%1 counted, %2 acknowledged, %3 sent").arg(counted).arg(load.acknowledged).arg(load.sent)));
        QCOMPARE(load.other.load(), 0);
    }

    // The database goes away under load: ads are still served, trackers are
    // refused rather than acknowledged, and all comes back with it.
    void databaseAwayAndBack()
    {
        if (const QString missing = testsupport::PostgresCluster::missingBinaries(); !missing.isEmpty())
            QSKIP(qPrintable("PostgreSQL binaries absent (" + missing + "): install postgresql to run this"));
        testsupport::PostgresCluster database;
        QVERIFY(database.isRunning());
        QTemporaryDir dir;
        ServerProcess server(dir.path(), {"--store", database.uri()});
        TrackerLoad load({server.port()}, 2);
        QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged > 200, 20000);

        QVERIFY(database.stop());
        QTRY_COMPARE_WITH_TIMEOUT(server.get("/readyz").status, 503, 10000);
        const qint64 refusedBefore = load.refused;
        QTRY_VERIFY_WITH_TIMEOUT(load.refused > refusedBefore + 50, 10000);
        QCOMPARE(server.get(adRequest).status, 302);
        QCOMPARE(server.get("/healthz").status, 200);

        QVERIFY(database.start());
        QTRY_COMPARE_WITH_TIMEOUT(server.get("/readyz").status, 200, 10000);
        const qint64 acknowledgedBefore = load.acknowledged;
        QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged > acknowledgedBefore + 200, 20000);
        load.finish();
        QCOMPARE(load.other.load(), 0);
        // Only a batch cut off as the database went can be counted but refused.
        const qint64 counted = impressions(server.stats());
        QVERIFY2(counted >= load.acknowledged && counted <= load.acknowledged + qint64(GroupCommit::batchCounts),
                 qPrintable(QStringLiteral("%1 counted, %2 acknowledged").arg(counted).arg(load.acknowledged)));
        // Monitoring sees what the clients were told, and the batches that failed.
        const QMap<QString, double> metrics = parseMetrics(server.get("/metrics", true).body);
        QCOMPARE(metrics["velmora_impressions_total"], double(load.acknowledged));
        QCOMPARE(metrics["velmora_http_requests_total{route=\"track\",status=\"200\"}"], double(load.acknowledged));
        QCOMPARE(metrics["velmora_http_requests_total{route=\"track\",status=\"503\"}"], double(load.refused));
        QVERIFY(metrics["velmora_store_batch_failures_total"] > 0);
        QCOMPARE(server.stop(SIGTERM), 0);
    }

    // systemd's Type=notify: READY=1 comes once the server answers.
    void readinessIsNotified()
    {
        QTemporaryDir dir;
        const QByteArray socketPath = QFile::encodeName(dir.filePath("notify"));
        const int listener = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, socketPath.constData(), size_t(socketPath.size()));
        QVERIFY(::bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0);
        qputenv("NOTIFY_SOCKET", socketPath);
        ServerProcess server(dir.path());
        qunsetenv("NOTIFY_SOCKET");
        char message[256] = {};
        timeval wait{10, 0};
        ::setsockopt(listener, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        const ssize_t n = ::recv(listener, message, sizeof message - 1, 0);
        ::close(listener);
        QVERIFY(n > 0);
        QCOMPARE(QByteArray(message), QByteArray("READY=1"));
        QCOMPARE(server.get("/healthz").status, 200);
        QCOMPARE(server.get("/readyz").status, 200);
    }

    void hangupReopensTheLog()
    {
        QTemporaryDir dir;
        const QString log = dir.filePath("requests.jsonl");
        ServerProcess server(dir.path());
        server.get("/healthz?first=1");
        QTRY_VERIFY_WITH_TIMEOUT(QFile(log).size() > 0, 10000);
        QVERIFY(QFile::rename(log, log + ".1"));
        server.signal(SIGHUP);
        QTRY_VERIFY_WITH_TIMEOUT(server.get("/healthz?second=1").status == 200 && QFile::exists(log), 10000);
        QCOMPARE(server.stop(SIGTERM), 0);
        QFile rotated(log + ".1"), fresh(log);
        QVERIFY(rotated.open(QIODevice::ReadOnly) && fresh.open(QIODevice::ReadOnly));
        const QByteArray before = rotated.readAll(), after = fresh.readAll();
        QVERIFY(before.contains("\"first\""));
        QVERIFY(after.contains("\"second\"") && !after.contains("\"first\""));
    }

    // A log left from three days ago is rotated to a file named after that
    // day, rotated files and stored requests past the retention go, and the
    // rest stays. The ages are set on the files and rows, not waited for.
    void logRotationAndRetention()
    {
        QTemporaryDir dir;
        const QString log = dir.filePath("requests.jsonl"), ancient = dir.filePath("requests-2000-01-01.jsonl");
        for (const QString &path : {log, ancient}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("{\"path\":\"/old\"}\n") > 0);
        }
        const QDateTime threeDaysAgo = QDateTime::currentDateTimeUtc().addDays(-3);
        QFile aged(log);
        QVERIFY(aged.open(QIODevice::ReadWrite) && aged.setFileTime(threeDaysAgo, QFileDevice::FileModificationTime));
        aged.close();
        {
            QString error;
            const std::unique_ptr<CountStore> store = CountStore::open(dir.filePath("requests.sqlite"), &error);
            QVERIFY2(store, qPrintable(error));
            const qint64 yesterday = threeDaysAgo.addDays(2).toMSecsSinceEpoch();
            QVERIFY(store->addRequests({{1, 1000, "", "", "{}", "[]"}, {2, yesterday, "", "", "{}", "[]"}}, 10, 0).isEmpty());
        }
        ServerProcess server(dir.path());
        QCOMPARE(server.get(adRequest).status, 302);
        const QString rotated = dir.filePath("requests-" + threeDaysAgo.date().toString(Qt::ISODate) + ".jsonl");
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(rotated), 10000);
        QVERIFY(!QFile::exists(ancient));
        QTRY_VERIFY_WITH_TIMEOUT(QFile(log).size() > 0, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(server.stats()["recent"].toArray().size(), 2, 10000);
        QCOMPARE(server.stats()["recent"][0]["id"].toInteger(), 2);
        QCOMPARE(server.stop(SIGTERM), 0);
        QFile old(rotated), fresh(log);
        QVERIFY(old.open(QIODevice::ReadOnly) && fresh.open(QIODevice::ReadOnly));
        QCOMPARE(old.readAll(), QByteArray("{\"path\":\"/old\"}\n"));
        QVERIFY(fresh.readAll().contains("\"path\":\"/ad\""));
    }

    // --erase-identifier beside a running server, on SQLite and on PostgreSQL:
    // no log line (current or rotated) and no stored request keeps the id, all
    // else stays, and the server's log goes on whole.
    void erasureLeavesNoTrace_data()
    {
        QTest::addColumn<bool>("postgres");
        QTest::newRow("SQLite") << false;
        QTest::newRow("PostgreSQL") << true;
    }

    void erasureLeavesNoTrace()
    {
        QFETCH(bool, postgres);
        std::unique_ptr<testsupport::PostgresCluster> database;
        if (postgres) {
            if (const QString missing = testsupport::PostgresCluster::missingBinaries(); !missing.isEmpty())
                QSKIP(qPrintable("PostgreSQL binaries absent (" + missing + "): install postgresql to run this"));
            database = std::make_unique<testsupport::PostgresCluster>();
            QVERIFY(database->isRunning());
        }
        QTemporaryDir dir;
        const QString log = dir.filePath("requests.jsonl");
        const QString storeLocation = postgres ? database->uri() : dir.filePath("requests.sqlite");
        ServerProcess server(dir.path(), {"--store", storeLocation, "--recent", "10"});
        const QByteArray erased = "ERASE0123456789ABCDEF", kept = "KEEP0123456789ABCDEF";
        for (const QByteArray &query : {"&isu=" + erased, "&isu=" + erased + "&npa=1", "&isu=" + kept})
            QCOMPARE(server.get(adRequest + query).status, 302);
        QString error;
        const std::unique_ptr<CountStore> store = CountStore::open(storeLocation, &error);
        QVERIFY2(store, qPrintable(error));
        QTRY_COMPARE_WITH_TIMEOUT(store->latestRequests(10).value_or(CountStore::Requests()).size(), size_t(3), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(fileText(log).count("\"path\":\"/ad\""), 3, 10000);
        const QDate yesterday = QDateTime::currentDateTimeUtc().date().addDays(-1);
        const QString rotated = dir.filePath("requests-" + yesterday.toString(Qt::ISODate) + ".jsonl");
        QFile older(rotated);
        QVERIFY(older.open(QIODevice::WriteOnly) && older.write("{\"query\":{\"isu\":\"" + erased + "\"}}\n{\"query\":{}}\n") > 0);
        older.close();

        QProcess eraser;
        eraser.start(QStringLiteral(VELMORA_ADSERVER_BINARY), {"--erase-identifier", erased, "--log", log, "--store", storeLocation});
        QVERIFY(eraser.waitForFinished(30000));
        QCOMPARE(eraser.exitCode(), 0);
        QCOMPARE(eraser.readAllStandardOutput().trimmed(),
                 QByteArray("velmora-adserver: removed 2 lines from 2 log files and 1 rows from the store"));

        QCOMPARE(server.get(adRequest + "&preqs=after").status, 302);
        QTRY_VERIFY_WITH_TIMEOUT(fileText(log).contains("after"), 10000);
        QByteArray everything;
        for (const QString &path : {log, rotated}) {
            for (const QByteArray &line : fileText(path).trimmed().split('\n')) {
                QVERIFY2(!QJsonDocument::fromJson(line).isNull(), line);
                everything += line;
            }
        }
        QVERIFY(!everything.contains(erased) && everything.contains(kept) && everything.contains("{\"query\":{}}"));
        QByteArray stored;
        for (const CountStore::Request &request : store->latestRequests(10).value_or(CountStore::Requests()))
            stored += request.parameters;
        QVERIFY(!stored.contains(erased) && stored.contains(kept));
    }

    void storageProblems()
    {
        QTemporaryDir dir;
        QFile blocker(dir.filePath("file"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        const QList<QPair<QStringList, QByteArray>> refusals{
            {{"--log", dir.filePath("file/requests.jsonl")}, "cannot open the request log"},
            {{"--db", dir.filePath("file/counts.sqlite")}, "cannot open the count database"}};
        for (const auto &[arguments, message] : refusals) {
            QProcess server;
            server.start(QStringLiteral(VELMORA_ADSERVER_BINARY), QStringList{"--port", "0", "--www", VELMORA_ADSERVER_WWW} + arguments);
            QVERIFY(server.waitForFinished(30000));
            QCOMPARE(server.exitCode(), 1);
            QVERIFY2(server.readAllStandardError().contains(message), message);
        }
        // A full disk: reported once, counted, and the server goes on answering.
        ServerProcess full(dir.path(), {"--log", "/dev/full", "--db", dir.filePath("counts.sqlite")});
        QCOMPARE(full.get(adRequest).status, 302);
        QTRY_VERIFY_WITH_TIMEOUT(QJsonValue(full.stats())["storage"]["logLinesLost"].toInt() >= 1, 10000);
        QCOMPARE(full.get(adRequest).status, 302);
        QTRY_VERIFY_WITH_TIMEOUT(QJsonValue(full.stats())["storage"]["logLinesLost"].toInt() >= 3, 10000);
        QCOMPARE(full.stop(SIGTERM), 0);
        QCOMPARE(full.errorOutput().count("cannot write the request log"), 1);

        // A log that cannot keep up (held here by the lock erasure takes) holds
        // at most the backlog; the lines beyond it are counted, not kept.
        ServerProcess held(dir.path(), {"--max-log-backlog-bytes", "65536"});
        const int log = ::open(QFile::encodeName(dir.filePath("requests.jsonl")).constData(), O_RDONLY | O_CLOEXEC);
        QVERIFY(log >= 0 && ::flock(log, LOCK_EX) == 0);
        for (int i = 0; i < 40; ++i)  // 320 KB of lines
            QCOMPARE(held.get(adRequest + "&pad=" + QByteArray(8000, 'p')).status, 302);
        QTRY_VERIFY_WITH_TIMEOUT(QJsonValue(held.stats())["storage"]["logLinesLost"].toInt() >= 20, 10000);
        ::close(log);  // once the backlog is written, lines are kept again
        QTRY_VERIFY_WITH_TIMEOUT(held.get(adRequest + "&preqs=after").status == 302
                                     && fileText(dir.filePath("requests.jsonl")).contains("\"after\""), 10000);
    }

    void optionRejects()
    {
        const QList<QPair<QStringList, QString>> bad{
            {{"--units", ""}, "at least one ad unit"}, {{"--units", ","}, "at least one ad unit"},
            {{"--fill-rate", "nan"}, "--fill-rate"}, {{"--refresh", "nan"}, "--refresh"}, {{"--refresh", "inf"}, "--refresh"},
            {{"--refresh", "0.5"}, "--refresh"}, {{"--refresh", "86401"}, "--refresh"}, {{"--threads", "0"}, "--threads"},
            {{"--header-timeout", "0"}, "--header-timeout"}, {{"--max-body-bytes", "-1"}, "--max-body-bytes"},
            {{"--stats-interval", "inf"}, "--stats-interval"}, {{"--public-host", "a/b"}, "--public-host"},
            {{"--admin-bind", "localhost"}, "--admin-bind"}, {{"--log-retention-days", "-1"}, "--log-retention-days"},
            {{"--erase-identifier", "1"}, "at least 8 characters"}};
        for (const auto &[arguments, mention] : bad) {
            QProcess server;
            server.start(QStringLiteral(VELMORA_ADSERVER_BINARY), QStringList{"--www", VELMORA_ADSERVER_WWW} + arguments);
            QVERIFY(server.waitForFinished(30000));
            const QString error = QString::fromUtf8(server.readAllStandardError());
            QVERIFY2(server.exitCode() == 2 && error.contains(mention), qPrintable(arguments.join(' ') + ": " + error));
        }
        for (const char *refresh : {"0", "1", "86400"}) {
            ServerOptions options;
            QString error;
            QVERIFY2(options.parse({"velmora-adserver", "--www", VELMORA_ADSERVER_WWW, "--refresh", refresh}, &error), qPrintable(error));
        }
        for (const auto &[flag, shows] : QList<QPair<QString, QString>>{{"--help", "Default: 16384"}, {"--version", "velmora-adserver 1."}}) {
            QProcess server;
            server.start(QStringLiteral(VELMORA_ADSERVER_BINARY), {flag});
            QVERIFY(server.waitForFinished(30000));
            QVERIFY2(server.exitCode() == 0 && server.readAllStandardOutput().contains(shows.toUtf8()), qPrintable(flag));
        }
    }

    // What a scraper reads: valid exposition text, counters that only rise,
    // and the same numbers /stats shows.
    void metricsAgreeWithStats()
    {
        InProcessServer server({"--fill-rate", "0.5"});
        RawClient client(server.port()), admin(server.adminPort());
        auto send = [&client, &admin](const QByteArray &target) {
            RawClient &to = target == "/metrics" || target == "/stats" ? admin : client;
            to.send(get(target));
            return to.read();
        };
        const QByteArray ids = "?unit=" + ServerOptions::gameAdUnit.toLatin1() + "&creative=club";
        auto traffic = [&] {
            for (int i = 0; i < 4; ++i)
                send(adRequest);
            for (const QByteArray &target : {"/track/impression" + ids, "/track/impression" + ids, "/track/click" + ids,
                                             "/click/club" + ids, QByteArray("/no/such")})
                send(target);
        };
        traffic();
        const RawClient::Response scraped = send("/metrics");
        QCOMPARE(scraped.status, 200);
        const QJsonObject stats = QJsonDocument::fromJson(send("/stats").body).object();

        if (QStandardPaths::findExecutable(QStringLiteral("promtool")).isEmpty())
            QSKIP("promtool (Debian's prometheus package) is not installed");
        QProcess promtool;
        promtool.start(QStringLiteral("promtool"), {"check", "metrics"});
        promtool.write(scraped.body);
        promtool.closeWriteChannel();
        QVERIFY(promtool.waitForFinished(60000));
        QVERIFY2(promtool.exitCode() == 0, promtool.readAllStandardOutput() + promtool.readAllStandardError());

        const QMap<QString, double> first = parseMetrics(scraped.body);
        const QJsonObject unit = stats["units"].toObject()[ServerOptions::gameAdUnit].toObject();
        const QJsonObject club = unit["creatives"].toObject()["club"].toObject();
        QCOMPARE(first["velmora_ad_requests_total"], stats["adRequests"].toDouble());
        QCOMPARE(first["velmora_ad_fills_total"], unit["adRequests"].toDouble() - unit["noFill"].toDouble());
        QCOMPARE(first["velmora_impressions_total"], unit["impressions"].toDouble());
        QCOMPARE(first["velmora_clicks_total"], unit["clicks"].toDouble());
        QCOMPARE(first["velmora_click_throughs_total"], club["clickThroughs"].toDouble());
        QCOMPARE(first["velmora_http_requests_total{route=\"ad\",status=\"302\"}"], 2.0);
        QCOMPARE(first["velmora_http_requests_total{route=\"file\",status=\"404\"}"], 1.0);
        QCOMPARE(first["velmora_http_open_connections"], 1.0);
        QVERIFY(first["velmora_http_sent_bytes_total"] > 0);
        QVERIFY(first["velmora_store_batch_seconds_count"] >= 0);

        traffic();
        const QMap<QString, double> second = parseMetrics(send("/metrics").body);
        for (auto series = first.cbegin(); series != first.cend(); ++series) {
            if (!series.key().startsWith(QLatin1String("velmora_http_open_connections")))
                QVERIFY2(second.value(series.key(), -1) >= series.value(), qPrintable(series.key()));
        }
        QCOMPARE(second["velmora_ad_requests_total"], 8.0);
    }

    // The page as a browser renders it: headless Chromium runs its script against the server.
    void dashboardShowsTheNumbers()
    {
        InProcessServer server({"--fill-rate", "0.5"});
        auto send = [&](const QByteArray &target) {
            RawClient client(server.port());
            client.send(get(target));
            return client.read().status;
        };
        for (int i = 0; i < 4; ++i)
            send(adRequest);
        const QByteArray ids = "?unit=" + ServerOptions::gameAdUnit.toLatin1() + "&creative=";
        for (const QByteArray &tracker : {"impression" + ids + "club", "impression" + ids + "club", "click" + ids + "club",
                                          "impression" + ids + "tips"})
            QCOMPARE(send("/track/" + tracker), 200);

        QTemporaryDir profile;
        QProcess chromium;
        chromium.start(QStringLiteral("chromium"), {"--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking",
                                                    "--disable-component-update", "--disable-sync", "--no-first-run",
                                                    "--user-data-dir=" + profile.path(), "--virtual-time-budget=5000",
                                                    "--dump-dom", QString::fromLatin1(server.adminBase() + "/")});
        QVERIFY2(chromium.waitForFinished(120000) && chromium.exitCode() == 0, chromium.readAllStandardError().right(600));
        const QString dom = QString::fromUtf8(chromium.readAllStandardOutput());
        auto shown = [&dom](const QString &pattern) { return QRegularExpression(pattern).match(dom).captured(1); };
        QCOMPARE(shown("id=\"fill-rate\">([^<]*)<"), QStringLiteral("50.0%"));
        QCOMPARE(shown("id=\"impressions\">([^<]*)<"), QStringLiteral("3"));
        QCOMPARE(shown("id=\"clicks\">([^<]*)<"), QStringLiteral("1"));
        QStringList club;  // creative, served, impressions, clicks, CTR, click-throughs
        for (const auto &match : QRegularExpression("<td[^>]*>([^<]*)</td>").globalMatch(shown("data-creative=\"club\">(.*?)</tr>")))
            club << match.captured(1);
        QCOMPARE(club.mid(2, 3), QStringList({"2", "1", "50.0%"}));
        QCOMPARE(shown("<tbody id=\"recent\">(.*?)</tbody>").count(QStringLiteral("<tr>")), 4);
    }
};

VELMORA_TEST_MAIN(TestAdServerOperations)
#include "tst_adserver_operations.moc"
