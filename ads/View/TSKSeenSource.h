#pragma once

#include <QObject>

// Whether the player can see a banner, however it is drawn: a widget's
// tracker or a Qt Quick item's. The banner's engine asks nothing else.
class TSKSeenSource : public QObject
{
    Q_OBJECT
public:
    // At least this share of the banner must lie where it is not clipped away.
    static constexpr double kMinimumVisibleShare = 0.5;

    bool isSeen() const { return seen_; }

signals:
    void seenChanged(bool seen);

protected:
    // Emits seenChanged when it really changed.
    void setSeen(bool seen);

private:
    bool seen_ = false;
};
