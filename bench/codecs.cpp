// The codecs side by side with established libraries, on the same inputs.
// Ends with a table of MB/s and the ratio of ours to each of the others.
#include "Utility/TSKNetworkUtilities.h"
#include "json/TSKDecimal.h"
#include "json/TSKJSON.h"
#include "toolbox/TSKStringEncoding.h"

#include <QRandomGenerator>
#include <QUrl>

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <openssl/evp.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <map>

namespace {

QVariant decimal(const char *text)
{
    return QVariant::fromValue(*TSKDecimal::fromString(std::string_view(text)));
}

// The parameter dictionary of a typical ad request.
QByteArray requestDocument()
{
    QVariantMap extras{{"color_bg", "FFFFFF"}, {"color_link", "0000FF"}, {"channel", "arcade/casual"},
                       {"campaign", "spring \"launch\" 2024"}, {"tags", QVariantList{"puzzle", "arcade", "ball"}}};
    QVariantMap request{
        {"ad_unit", "velmora-main-banner-320x50"}, {"app_name", "1.2.iphone.org.velmora.game"},
        {"isu", "9F86D081884C7D659A2FEAA0C55AD015"}, {"platform", "Desktop"}, {"submodel", "x86_64"},
        {"hl", "en-gb"}, {"u_audio", "1"}, {"u_so", "p"}, {"u_sd", "1"}, {"u_w", "320"}, {"u_h", "480"},
        {"js", "tiskos-sdk-i-v4.0.2"}, {"net", "wi"}, {"format", "320x50_mb"}, {"output", "html"},
        {"region", "mobile_app"}, {"u_tz", decimal("60")}, {"dt", decimal("1716205843123")},
        {"uloc", "a3F2bW9yYS1sb2NhdGlvbi1ibG9iLWVuY2lwaGVyZWQtd2l0aC1hZXMtMTI4LWNiYy1ub3BhZA"},
        {"kw", QVariantList{"ball", "dodge", "arcade game", "free", "touch", "score", "caf\u00e9"}},
        {"extras", extras}, {"adtest", "on"}, {"gender", "f"}, {"cust_age", decimal("34")},
        {"stat_req", decimal("118")}, {"stat_imp", decimal("97")}, {"stat_clk", decimal("3")},
        {"stat_lat", decimal("0.4375")}, {"stat_up", decimal("86412.5")}, {"has_loc", true}, {"cached", false},
        {"spam", "AAAAFGk2dWp0Y3hhcm9ta2V5LXNpZ25hbC1ibG9iLW9mLW9wYXF1ZS10ZXh0"},
        {"ios_metadata", QVariantMap{{"itemName", "Velmora"}, {"softwareVersionBundleId", "org.velmora.game"},
                                     {"price", decimal("0")}, {"genre", "Games"}}},
        {"unique", decimal("1716205843")}, {"preqs", decimal("4")}, {"loc", QVariant::fromValue(nullptr)},
        {"ua", "Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) QtWebEngine/6.4.2 "
               "Chrome/102.0.5005.177 Safari/537.36"},
        {"url", "http://127.0.0.1:8470/hidden/build.html?unit=velmora-main-banner-320x50&v=4.0.2"},
        {"timing", QVariantMap{{"load_ms", decimal("412")}, {"render_ms", decimal("87.5")}, {"tap_ms", decimal("0")},
                               {"script_ms", decimal("15.25")}, {"sessions", decimal("12")}}},
        {"trackers", QVariantList{"http://127.0.0.1:8470/track/imp?id=8812&ai=Q2xpY2s",
                                  "http://127.0.0.1:8470/track/view?id=8812&t=1"}}};
    TSKJSON writer;
    return writer.stringWithObject(request).toUtf8();
}

// About 1 MB of records mixing every kind of value, escapes and non-ASCII text.
QByteArray mixedDocument()
{
    QRandomGenerator random(7);
    QVariantList records;
    int size = 0;
    for (int i = 0; size < 1024 * 1024; ++i) {
        QVariantMap record{
            {"id", decimal(QByteArray::number(100000 + i).constData())},
            {"name", QString("item %1 \"quoted\" \u00e9t\u00e9 \u65e5\u672c").arg(i)},
            {"price", decimal(QByteArray::number(random.bounded(100000) / 100.0, 'f', 2).constData())},
            {"ratio", decimal(QByteArray::number(random.generateDouble(), 'g', 15).constData())},
            {"active", i % 3 == 0}, {"parent", QVariant::fromValue(nullptr)},
            {"path", QString("/a/b/%1\tline\n").arg(i)},
            {"scores", QVariantList{decimal("1"), decimal("-2.5"), decimal("3e5"), decimal("42")}},
            {"meta", QVariantMap{{"k", "v"}, {"n", decimal("7")}}}};
        records.append(record);
        size += 200;
    }
    TSKJSON writer;
    return writer.stringWithObject(records).toUtf8();
}

const QByteArray &document(int which)
{
    static const QByteArray request = requestDocument();
    static const QByteArray mixed = mixedDocument();
    return which == 0 ? request : mixed;
}

const QByteArray &randomBytes()
{
    static const QByteArray bytes = [] {
        QByteArray data(1024 * 1024, Qt::Uninitialized);
        QRandomGenerator random(11);
        random.fillRange(reinterpret_cast<quint32 *>(data.data()), data.size() / 4);
        return data;
    }();
    return bytes;
}

const QString &percentText()
{
    static const QString text = [] {
        QString t;
        while (t.size() < 64 * 1024)
            t += QString::fromUtf8("https://cdn.example/landing?id=42&kw=caf\u00e9 au lait&r=a/b;c ");
        return t;
    }();
    return text;
}

void setBytes(benchmark::State &state, qsizetype bytes)
{
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
}

void jsonReadOurs(benchmark::State &state, int which)
{
    const QByteArray &text = document(which);
    TSKJSON reader;
    for (auto _ : state)
        benchmark::DoNotOptimize(reader.objectWithUTF8(text, false));
    setBytes(state, text.size());
}

void jsonReadNlohmann(benchmark::State &state, int which)
{
    const std::string text = document(which).toStdString();
    for (auto _ : state)
        benchmark::DoNotOptimize(nlohmann::json::parse(text));
    setBytes(state, qsizetype(text.size()));
}

void jsonReadRapid(benchmark::State &state, int which)
{
    const std::string text = document(which).toStdString();
    for (auto _ : state) {
        rapidjson::Document parsed;
        parsed.Parse(text.c_str(), text.size());
        benchmark::DoNotOptimize(parsed.HasParseError());
    }
    setBytes(state, qsizetype(text.size()));
}

void jsonWriteOurs(benchmark::State &state, int which)
{
    TSKJSON json;
    const QVariant value = json.objectWithUTF8(document(which), false);
    for (auto _ : state)
        benchmark::DoNotOptimize(json.stringWithObject(value));
    setBytes(state, document(which).size());
}

void jsonWriteNlohmann(benchmark::State &state, int which)
{
    const nlohmann::json value = nlohmann::json::parse(document(which).toStdString());
    for (auto _ : state)
        benchmark::DoNotOptimize(value.dump());
    setBytes(state, document(which).size());
}

void jsonWriteRapid(benchmark::State &state, int which)
{
    rapidjson::Document value;
    value.Parse(document(which).constData(), size_t(document(which).size()));
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        value.Accept(writer);
        benchmark::DoNotOptimize(buffer.GetString());
    }
    setBytes(state, document(which).size());
}

void base64EncodeOurs(benchmark::State &state)
{
    const TSKStringEncoding base64 = TSKStringEncoding::rfc4648Base64StringEncoding();
    for (auto _ : state)
        benchmark::DoNotOptimize(base64.encode(randomBytes()));
    setBytes(state, randomBytes().size());
}

void base64EncodeOpenSSL(benchmark::State &state)
{
    const QByteArray &data = randomBytes();
    std::string out(size_t(data.size()) / 3 * 4 + 8, '\0');
    for (auto _ : state)
        benchmark::DoNotOptimize(EVP_EncodeBlock(reinterpret_cast<unsigned char *>(out.data()),
                                                 reinterpret_cast<const unsigned char *>(data.constData()), int(data.size())));
    setBytes(state, data.size());
}

void base64DecodeOurs(benchmark::State &state)
{
    const TSKStringEncoding base64 = TSKStringEncoding::rfc4648Base64StringEncoding();
    const QString text = base64.encode(randomBytes());
    for (auto _ : state)
        benchmark::DoNotOptimize(base64.decode(text));
    setBytes(state, randomBytes().size());
}

void base64DecodeOpenSSL(benchmark::State &state)
{
    const QByteArray text = TSKStringEncoding::rfc4648Base64StringEncoding().encode(randomBytes()).toLatin1();
    std::string out(size_t(text.size()), '\0');
    for (auto _ : state)
        benchmark::DoNotOptimize(EVP_DecodeBlock(reinterpret_cast<unsigned char *>(out.data()),
                                                 reinterpret_cast<const unsigned char *>(text.constData()), int(text.size())));
    setBytes(state, randomBytes().size());
}

void percentOurs(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(TSKNetworkUtilities::encodeURL(percentText()));
    setBytes(state, percentText().toUtf8().size());
}

void percentQUrl(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(QString::fromLatin1(QUrl::toPercentEncoding(percentText())));
    setBytes(state, percentText().toUtf8().size());
}

// Keeps each result's MB/s so the run can end with a side-by-side table.
class TableReporter : public benchmark::ConsoleReporter
{
public:
    std::map<std::string, double> mbPerSecond;

    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            // With repetitions, the median stands for the case.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median")
                continue;
            const auto bytes = run.counters.find("bytes_per_second");
            if (bytes != run.counters.end())
                mbPerSecond[run.run_name.str()] = bytes->second.value / (1024.0 * 1024.0);
        }
    }

    void printTable() const
    {
        struct Row { const char *what, *ours, *first, *second; };
        const Row rows[] = {
            {"JSON read, ad request", "json_read/request/ours", "json_read/request/nlohmann", "json_read/request/rapidjson"},
            {"JSON read, 1 MB mixed", "json_read/mixed/ours", "json_read/mixed/nlohmann", "json_read/mixed/rapidjson"},
            {"JSON write, ad request", "json_write/request/ours", "json_write/request/nlohmann", "json_write/request/rapidjson"},
            {"JSON write, 1 MB mixed", "json_write/mixed/ours", "json_write/mixed/nlohmann", "json_write/mixed/rapidjson"},
            {"base 64 encode, 1 MB", "base64_encode/ours", "base64_encode/openssl", nullptr},
            {"base 64 decode, 1 MB", "base64_decode/ours", "base64_decode/openssl", nullptr},
            {"percent-encode, 64 KB", "percent_encode/ours", "percent_encode/qurl", nullptr},
        };
        auto rate = [this](const char *name) {
            const auto it = name ? mbPerSecond.find(name) : mbPerSecond.end();
            return it == mbPerSecond.end() ? 0.0 : it->second;
        };
        std::printf("\n| case | ours MB/s | other MB/s (ratio) | other MB/s (ratio) |\n|---|---|---|---|\n");
        for (const Row &row : rows) {
            const double ours = rate(row.ours);
            std::printf("| %s | %.0f |", row.what, ours);
            for (const char *other : {row.first, row.second}) {
                if (other && rate(other) > 0)
                    std::printf(" %s %.0f (%.2fx) |", std::strrchr(other, '/') + 1, rate(other),
                                ours / rate(other));
                else
                    std::printf(" |");
            }
            std::printf("\n");
        }
    }
};

}  // namespace

int main(int argc, char **argv)
{
    const char *documents[] = {"request", "mixed"};
    for (int which = 0; which < 2; ++which) {
        const std::string doc = documents[which];
        benchmark::RegisterBenchmark(("json_read/" + doc + "/ours").c_str(), jsonReadOurs, which);
        benchmark::RegisterBenchmark(("json_read/" + doc + "/nlohmann").c_str(), jsonReadNlohmann, which);
        benchmark::RegisterBenchmark(("json_read/" + doc + "/rapidjson").c_str(), jsonReadRapid, which);
        benchmark::RegisterBenchmark(("json_write/" + doc + "/ours").c_str(), jsonWriteOurs, which);
        benchmark::RegisterBenchmark(("json_write/" + doc + "/nlohmann").c_str(), jsonWriteNlohmann, which);
        benchmark::RegisterBenchmark(("json_write/" + doc + "/rapidjson").c_str(), jsonWriteRapid, which);
    }
    benchmark::RegisterBenchmark("base64_encode/ours", base64EncodeOurs);
    benchmark::RegisterBenchmark("base64_encode/openssl", base64EncodeOpenSSL);
    benchmark::RegisterBenchmark("base64_decode/ours", base64DecodeOurs);
    benchmark::RegisterBenchmark("base64_decode/openssl", base64DecodeOpenSSL);
    benchmark::RegisterBenchmark("percent_encode/ours", percentOurs);
    benchmark::RegisterBenchmark("percent_encode/qurl", percentQUrl);

    benchmark::Initialize(&argc, argv);
    std::printf("documents: ad request %lld bytes, mixed %lld bytes\n", static_cast<long long>(document(0).size()),
                static_cast<long long>(document(1).size()));
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable();
    benchmark::Shutdown();
    return 0;
}
