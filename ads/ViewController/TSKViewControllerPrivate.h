#pragma once

#include "ViewController/TSKScreenLifecycle.h"

#include <QObject>
#include <memory>

// The state of a full-screen ad screen, kept in the private-object table.
class TSKViewControllerPrivate : public QObject
{
    Q_OBJECT
public:
    TSKViewControllerPrivate() = default;

    int supportedOrientations = 1;
    bool statusBarWasHidden = false;
    // Made with the screen, which it names.
    std::unique_ptr<TSKScreenLifecycle> lifecycle;
};
