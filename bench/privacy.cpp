// What a request with every consent signal set costs, beside the request as a
// library without privacy rules builds it (bench/privacy.sh builds this same
// source against such a tree, which leaves the signals unread):
//   parameters  one targeted request's parameters and their JSON text, as the
//               loader builds them, in batches of 1000;
//   request     loadRequest -> adReceived against the house ad server, warm.
// The signals are set where a consent tool leaves them: GDPR applies, a TCF
// consent string with its flags (full consent, from tests/data/consent), a GPP
// string and its sections, a US Privacy string; VELMORA_VENDOR_ID names the
// network in the string.
// Usage: privacy --host 127.0.0.1:PORT --consent strings.json [--batches N] [--loads N]
#include "Request/TSKRequestPrivate.h"
#include "Utility/TSKMacros.h"
#include <VelmoraAds/BannerWidget.h>
#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

void leaveConsentSignals(const QString &consentFile)
{
    QFile file(consentFile);
    file.open(QIODevice::ReadOnly);
    const QJsonObject full = QJsonDocument::fromJson(file.readAll())["cases"]["full"].toObject();
    QSettings settings;
    settings.setValue("IABTCF_gdprApplies", 1);
    settings.setValue("IABTCF_TCString", full["tcString"].toString());
    settings.setValue("IABTCF_PurposeConsents", full["purposeConsents"].toString());
    settings.setValue("IABTCF_VendorConsents", full["vendorConsents"].toString());
    settings.setValue("IABTCF_SpecialFeaturesOptIns", full["specialFeatureOptIns"].toString());
    settings.setValue("IABGPP_HDR_GppString", "opaque~gpp~text");
    settings.setValue("IABGPP_GppSID", "2_7");
    settings.setValue("IABUSPrivacy_String", "1YNN");
}

std::unique_ptr<TSKRequest> targetedRequest()
{
    std::unique_ptr<TSKRequest> request = TSKRequest::request();
    request->setGender(TSKGender::Female);
    request->setBirthdayWithMonthDayYear(5, 17, 1990);
    request->addKeyword("arcade");
    request->setLocationWithLatitudeLongitudeAccuracy(52.52f, 13.405f, 30.f);
    return request;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// Microseconds per request, each batch's mean.
std::vector<double> timeParameters(int batches)
{
    const auto request = targetedRequest();
    const TSKRequestPrivate *state = TSKRequestPrivate::from(request.get());
    std::vector<double> perRequest;
    qsizetype bytes = 0;
    for (int batch = 0; batch < batches; ++batch) {
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < 1000; ++i)
            bytes += TSKMacros::jsonify(state->parameters()).size();
        perRequest.push_back(clock.nsecsElapsed() / 1000.0 / 1000);
    }
    const long long perRequestBytes = bytes / (qsizetype(batches) * 1000);
    std::printf("parameters: %lld bytes of JSON a request\n", perRequestBytes);
    return perRequest;
}

// Milliseconds from load() to the ad, the first (cold) one left out.
std::vector<double> timeLoads(int loads)
{
    if (loads <= 0)
        return {};
    QWidget window;
    window.resize(320, 480);
    auto *banner = new Velmora::Ads::BannerWidget(&window);
    banner->setAdUnitId("a1f3c29b07d5e64");
    window.show();
    int received = 0;
    QObject::connect(banner, &Velmora::Ads::BannerWidget::adReceived, [&received] { ++received; });
    const auto request = targetedRequest();
    std::vector<double> milliseconds;
    for (int load = 0; load <= loads; ++load) {
        const int before = received;
        QElapsedTimer clock;
        clock.start();
        banner->load(*request);
        const QDeadlineTimer deadline(30000);
        while (received == before && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        if (load > 0 && received > before)
            milliseconds.push_back(clock.nsecsElapsed() / 1e6);
    }
    return milliseconds;
}

}  // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName("velmora-bench");
    QCoreApplication::setApplicationName("privacy-bench");
    QCommandLineParser parser;
    parser.addOptions({{"host", "House ad server.", "host"}, {"consent", "Consent strings.", "file"},
                       {"batches", "Batches of 1000 parameter sets.", "n", "20"},
                       {"loads", "Warm ad loads.", "n", "15"}});
    parser.process(app);
    TSKNetworkConfiguration::setAdServerHost(parser.value("host"));
    TSKNetworkConfiguration::setStaticContentHost(parser.value("host"));
    leaveConsentSignals(parser.value("consent"));

    const std::vector<double> parameters = timeParameters(parser.value("batches").toInt());
    const std::vector<double> loads = timeLoads(parser.value("loads").toInt());
    std::printf("parameters: %.2f us a request (median of %zu batches)\n", median(parameters), parameters.size());
    std::printf("request: %.1f ms from load to ad (median of %zu warm loads)\n", median(loads), loads.size());
    return 0;
}
