#pragma once

#include "Error.h"

#include <QPointer>
#include <QString>
#include <functional>

namespace Velmora::Ads {

// What a public banner (BannerWidget, BannerAd) shows of its engine's events:
// the state, the last error and whether the ad came from a reload, each
// signalled only when it changed, then the event's own signal. Every step
// stops as soon as a slot has deleted the banner.
template <typename Banner>
class BannerStatus
{
public:
    explicit BannerStatus(Banner *banner) : banner_(banner) {}

    typename Banner::State state() const { return state_; }
    const QString &lastError() const { return lastError_; }
    bool autoRefreshed() const { return autoRefreshed_; }

    void startLoading() { setState(Banner::State::Loading); }

    void received(bool autoRefreshed)
    {
        const QPointer<Banner> alive(banner_);
        setState(Banner::State::Shown);
        if (alive)
            setLastError({});
        if (alive)
            setAutoRefreshed(autoRefreshed);
        if (alive)
            emit banner_->adReceived();
    }

    void failed(const Velmora::Platform::Error &error, bool autoRefreshed)
    {
        const QPointer<Banner> alive(banner_);
        const QString message = error.localizedDescription();
        setState(Banner::State::Failed);
        if (alive)
            setLastError(message);
        if (alive)
            setAutoRefreshed(autoRefreshed);
        if (alive)
            emit banner_->adFailed(failureOfCode(error.code), message);
    }

private:
    using Failure = typename Banner::Failure;

    static Failure failureOfCode(qint64 code)
    {
        if (code < int(Failure::NoFill) || code > int(Failure::Timeout))
            return Failure::InvalidRequest;
        return Failure(code);
    }

    void setState(typename Banner::State state)
    {
        if (state_ == state)
            return;
        state_ = state;
        emit banner_->stateChanged(state);
    }

    void setLastError(const QString &message)
    {
        if (lastError_ == message)
            return;
        lastError_ = message;
        emit banner_->lastErrorChanged(message);
    }

    void setAutoRefreshed(bool refreshed)
    {
        if (autoRefreshed_ == refreshed)
            return;
        autoRefreshed_ = refreshed;
        emit banner_->autoRefreshedChanged(refreshed);
    }

    Banner *banner_;
    typename Banner::State state_ = Banner::State::Idle;
    QString lastError_;
    bool autoRefreshed_ = false;
};

}  // namespace Velmora::Ads
