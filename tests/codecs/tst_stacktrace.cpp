#include "TestMain.h"
#include "toolbox/TSKStackTrace.h"

#include <QRegularExpression>

// Exported (the executable exports its symbols) and kept out of line, so each
// shows up as a frame of its own.
class StackProbe
{
public:
    __attribute__((noipa)) QString capture(int depth);
};

extern "C" __attribute__((noipa)) QString velmoraProbeFunction(int depth)
{
    StackProbe probe;
    QString trace = probe.capture(depth);
    asm volatile("" ::: "memory");  // keeps the call from becoming a tail call
    return trace;
}

QString StackProbe::capture(int depth)
{
    QString trace = depth > 0 ? velmoraProbeFunction(depth - 1) : TSKStackTrace();
    asm volatile("" ::: "memory");
    return trace;
}

namespace probe {
template<int N>
struct Deep
{
    __attribute__((noipa)) QString capture(const char *);
};

// Out of line: inline functions are hidden from the dynamic symbol table.
template<int N>
QString Deep<N>::capture(const char *)
{
    QString trace = TSKStackTrace();
    asm volatile("" ::: "memory");
    return trace;
}
}  // namespace probe

class TestStackTrace : public QObject
{
    Q_OBJECT
private slots:
    void traceNamesMemberFunctionsAndPlainFunctions()
    {
        const QStringList lines = velmoraProbeFunction(1).split('\n');
        QVERIFY(lines.size() >= 4);
        // The capturing function itself is left out; the trace starts at its caller.
        QVERIFY2(lines[0].endsWith(" -[StackProbe capture]"), qPrintable(lines[0]));
        QVERIFY2(lines[1].endsWith(" velmoraProbeFunction()"), qPrintable(lines[1]));
        QVERIFY2(lines[2].endsWith(" -[StackProbe capture]"), qPrintable(lines[2]));
        const QRegularExpression line(R"(^#(\d) +tst_stacktrace {22}0x[0-9a-f]{8,} -\[StackProbe capture\]$)");
        QVERIFY2(line.match(lines[0]).hasMatch(), qPrintable(lines[0]));
        QVERIFY(lines.last().startsWith(QString("#%1").arg(lines.size() - 1)));
    }

    void scopesAndTemplatesStayInTheClassName()
    {
        const QString first = probe::Deep<3>().capture("x").section('\n', 0, 0);
        QVERIFY2(first.endsWith(" -[probe::Deep<3> capture]"), qPrintable(first));
    }

    void descriptorsAndLayout()
    {
        QCOMPARE(TSKGetStackAddressDescriptorsForAddresses(nullptr, nullptr, 3), size_t(0));
        quintptr addresses[2] = {reinterpret_cast<quintptr>(&velmoraProbeFunction) + 1, 0};
        TSKAddressDescriptor descriptors[2];
        QCOMPARE(TSKGetStackAddressDescriptorsForAddresses(addresses, descriptors, 0), size_t(0));
        QCOMPARE(TSKGetStackAddressDescriptorsForAddresses(addresses, descriptors, 2), size_t(2));
        QCOMPARE(descriptors[0].symbol, QByteArray("velmoraProbeFunction"));
        QVERIFY(descriptors[0].className.isEmpty());
        QVERIFY(descriptors[0].filename.endsWith("tst_stacktrace"));
        QCOMPARE(descriptors[1].symbol, QByteArray("???"));

        TSKAddressDescriptor made[3];
        made[0] = {0x1234, "run:", "Runner", true, "/usr/lib/libRunner.so"};
        made[1] = {0xabcdef012, "???", {}, false, {}};
        made[2] = {0, {}, {}, false, {}};
        QCOMPARE(TSKStackTraceFromAddressDescriptors(made, 3),
                 QString("#0  %1 0x00001234 +[Runner run:]\n"
                         "#1  %2 0xabcdef012 ?\?\?()\n"
                         "#2  %2      (nil) ?\?()")
                     .arg("libRunner.so", -35)
                     .arg("??", -35));
    }
};

VELMORA_TEST_MAIN(TestStackTrace)
#include "tst_stacktrace.moc"
