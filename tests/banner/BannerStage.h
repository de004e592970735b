#pragma once

#include "AdServerProcess.h"
#include "Error.h"
#include "ViewController.h"

#include <QObject>
#include <QRectF>
#include <QStringList>

#include <functional>

class TSKBannerView;
class TSKObjectPrivate;

// One banner pointed at a house ad server and shown, on a 320 by 480 screen
// of its own unless given a parent; nothing loaded yet. The stage is the
// publisher's delegate too, and keeps what the banner told it, in order.
class BannerStage : public QObject
{
    Q_OBJECT
public:
    static inline const QString kUnit = QStringLiteral("a1f3c29b07d5e64");

    explicit BannerStage(const testsupport::AdServerProcess &server, QWidget *parent = nullptr,
                         const QRectF &frame = QRectF(0, 430, 320, 50), const QString &unit = kUnit);

    TSKObjectPrivate *loader() const;
    void load();
    bool waitForEvents(int count, int timeoutMs = 30000);
    bool waitForSeen(bool seen);
    qsizetype adRequests() const { return server.requestsTo(QStringLiteral("/ad")).size(); }
    qsizetype impressions() const { return server.requestsTo(QStringLiteral("/track/impression")).size(); }

    Q_INVOKABLE void adViewDidReceiveAd(TSKBannerView *);
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(TSKBannerView *, const Velmora::Platform::Error &error);

    const testsupport::AdServerProcess &server;
    Velmora::Platform::ViewController screen;
    TSKBannerView *banner = nullptr;
    QStringList events;  // "receive" or "fail"
    QList<Velmora::Platform::Error> errors;
    std::function<void()> onReceive;  // once, at the next ad received
};
