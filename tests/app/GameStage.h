#pragma once

#include "Ball.h"
#include "Random.h"
#include "Timer.h"
#include "Touch.h"
#include "ViewGeometry.h"
#include "Window.h"

#include <QLabel>
#include <QQueue>
#include <memory>

// Random numbers the test decides, in order; 0 once the script runs out.
struct ScriptedRandom
{
    ScriptedRandom() { Velmora::Platform::Random::setSource([this] { return values.isEmpty() ? 0u : values.dequeue(); }); }
    ~ScriptedRandom() { Velmora::Platform::Random::setSource({}); }
    void push(std::initializer_list<uint32_t> more) { values.append(more); }
    QQueue<uint32_t> values;
};

// A play screen on the window, its view loaded, its round not started.
// The script is made first, so it feeds the pick-up intervals too.
struct RoundStage
{
    explicit RoundStage(std::initializer_list<uint32_t> setupRandom = {})
    {
        random.push(setupRandom);
        window.addSubview(round->view());
    }

    QLabel *label(const char *name) const { return round->view()->findChild<QLabel *>(QLatin1String(name)); }
    QLabel *player() const { return label("one"); }
    void movePlayer(QPointF centre) const { Velmora::Platform::ViewGeometry::setCenter(player(), centre); }
    // Far from every ball, so motion can be watched without a game over.
    void parkPlayer() const { movePlayer(QPointF(-1000, -1000)); }
    void ticks(int count) const
    {
        for (int i = 0; i < count; ++i)
            round->onTimer();
    }
    // Timers aimed at the screen, oldest first: the three pick-up placers
    // (hide, minus, plus), then motion, seconds and score once started.
    QList<Velmora::Platform::Timer *> timers() const { return Velmora::Platform::Timer::timersOf(round.get()); }

    ScriptedRandom random;
    Velmora::Platform::Window window;
    std::unique_ptr<Touch> round = std::make_unique<Touch>();
};
