#pragma once

#include <memory>

class QObject;
class TSKDelegateManager;

// What every full-screen ad screen goes through, however it is drawn: it is
// announced (every banner pauses its reloads), appears, is given back and
// disappears. Over the application it tells the ad's delegates, each event
// once; over another ad screen it tells them nothing. A screen that goes
// while it holds the screen still ends the banners' pause.
class TSKScreenLifecycle
{
public:
    // `screen` names the screen in the notifications.
    explicit TSKScreenLifecycle(QObject *screen);
    ~TSKScreenLifecycle();
    TSKScreenLifecycle(const TSKScreenLifecycle &) = delete;
    TSKScreenLifecycle &operator=(const TSKScreenLifecycle &) = delete;

    // Created empty on first read when none was set.
    const std::shared_ptr<TSKDelegateManager> &delegateManager();
    void setDelegateManager(std::shared_ptr<TSKDelegateManager> manager) { delegateManager_ = std::move(manager); }
    // The disappearance after the closing is reported as leaving the application.
    void setAppClosing(bool closing) { appClosing_ = closing; }

    // Over the application rather than over another ad screen; kept once
    // the screen has gone, as the presenter is then forgotten.
    bool isOverApplication() const { return overApplication_; }
    bool isUp() const { return phase_ == Phase::Up; }

    // Only once the screen is sure to come up: a refused one announces nothing.
    void willPresent(bool overApplication);
    // True for the first appearance after willPresent only.
    bool didAppear();
    // Starts the closing; false when the screen is not up (closing already,
    // or never come up). The screen then goes away and calls didRelinquish.
    bool willRelinquish();
    void didRelinquish();
    // Every disappearance, the closing's or under a screen opened over it.
    void didDisappear();

private:
    enum class Phase { Hidden, Appearing, Up, Closing };

    void post(bool holdsScreen);

    QObject *screen_;
    std::shared_ptr<TSKDelegateManager> delegateManager_;
    Phase phase_ = Phase::Hidden;
    bool overApplication_ = true;
    bool appClosing_ = false;
    bool holdsScreen_ = false;
};
