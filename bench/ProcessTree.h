#pragma once

// What a process and the web engine's processes under it cost: their PSS
// and their processor time.
#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QStringList>
#include <QTimer>
#include <unistd.h>

namespace bench {

inline double pssOfProcess(const QString &pid)
{
    QFile rollup("/proc/" + pid + "/smaps_rollup");
    if (!rollup.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : rollup.readAll().split('\n')) {
        if (line.startsWith("Pss:"))
            return line.simplified().split(' ').value(1).toDouble() / 1024.0;
    }
    return 0;
}

// User and system clock ticks of a process, all its threads included.
inline qint64 cpuTicksOfProcess(const QString &pid)
{
    QFile stat("/proc/" + pid + "/stat");
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    // The command name may hold spaces; the fields after it do not.
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return fields.value(11).toLongLong() + fields.value(12).toLongLong();
}

inline QStringList childrenOf(const QString &pid)
{
    QStringList children;
    for (const QString &task : QDir("/proc/" + pid + "/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file("/proc/" + pid + "/task/" + task + "/children");
        if (file.open(QIODevice::ReadOnly))
            children += QString::fromLatin1(file.readAll()).split(' ', Qt::SkipEmptyParts);
    }
    return children;
}

// PSS in MB of this process and of the web engine's processes under it.
struct ProcessTreeMemory
{
    double browser = 0;
    double others = 0;
    int processes = 0;
    double total() const { return browser + others; }
};

inline ProcessTreeMemory memoryOfProcessTree()
{
    ProcessTreeMemory memory;
    const QString self = QString::number(QCoreApplication::applicationPid());
    memory.browser = pssOfProcess(self);
    QStringList pending = childrenOf(self);
    while (!pending.isEmpty()) {
        const QString pid = pending.takeFirst();
        memory.others += pssOfProcess(pid);
        ++memory.processes;
        pending += childrenOf(pid);
    }
    return memory;
}

// Clock ticks per process of this process and every process under it.
inline QHash<QString, qint64> cpuTicksOfProcessTree()
{
    const QString self = QString::number(QCoreApplication::applicationPid());
    QHash<QString, qint64> ticks{{self, cpuTicksOfProcess(self)}};
    QStringList pending = childrenOf(self);
    while (!pending.isEmpty()) {
        const QString pid = pending.takeFirst();
        ticks.insert(pid, cpuTicksOfProcess(pid));
        pending += childrenOf(pid);
    }
    return ticks;
}

// The tree's CPU over a wait, sampled every second so that a process that
// ends on the way (a renderer left without pages) counts up to its last sample.
inline double cpuSecondsOfProcessTreeOver(int milliseconds)
{
    const QHash<QString, qint64> before = cpuTicksOfProcessTree();
    QHash<QString, qint64> last = before;
    QEventLoop wait;
    QTimer sample;
    QObject::connect(&sample, &QTimer::timeout, [&] { last.insert(cpuTicksOfProcessTree()); });
    sample.start(1000);
    // A real wait: spinUntil's polling would be most of what is measured.
    QTimer::singleShot(milliseconds, &wait, &QEventLoop::quit);
    wait.exec();
    last.insert(cpuTicksOfProcessTree());
    qint64 ticks = 0;
    for (auto it = last.begin(); it != last.end(); ++it)
        ticks += it.value() - before.value(it.key());
    return double(ticks) / double(sysconf(_SC_CLK_TCK));
}

}  // namespace bench
