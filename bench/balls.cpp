// What a covered round's balls cost, without the rest of the game: ROUNDS
// (1000) rounds of BALLS (100) balls, grown one ball at a time as a round
// grows them, and every ball put through a motion tick as a covered round
// does (tested against the player's frame, moved, bounced). Beside it, the
// floor: a bare loop adding the velocity to the position of as many structs
// of the same size. Reports heap bytes per ball and nanoseconds per ball per
// tick of CPU time, medians of several runs taken in turn.
//
//   balls [--rounds N] [--balls N] [--ticks N] [--runs N]

#include "Ball.h"
#include "Geometry.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QList>

#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace Velmora::Platform;

namespace {

const QSizeF kField(320, 480);
const QSizeF kBallSize(24, 24);
// Where the bots leave the player's ball: away from the balls, so the tick is
// the common case, no game over asked for.
const QRectF kPlayer(-1000, -1000, 36, 36);

// As many floats as a ball, with nothing done to them but the sum.
struct BareBall
{
    float x, y, width, height, velocityX, velocityY;
};

size_t heapInUse()
{
    return mallinfo2().uordblks;
}

std::vector<QList<Ball>> stackRounds(int rounds, int balls)
{
    std::vector<QList<Ball>> stack(rounds);
    for (QList<Ball> &round : stack) {
        round.reserve(20);  // as a round starts
        for (int i = 0; i < balls; ++i)
            round.append(Ball(kBallSize, QPointF(10 + i * 3 % 300, 480), QPointF(5.5 + i % 10, 4.5 + i % 7)));
    }
    return stack;
}

std::vector<std::vector<BareBall>> stackBareRounds(int rounds, int balls)
{
    std::vector<std::vector<BareBall>> stack(rounds);
    for (std::vector<BareBall> &round : stack) {
        for (int i = 0; i < balls; ++i)
            round.push_back({float(i * 3 % 300), 468, 24, 24, 5.5f + float(i % 10), 4.5f + float(i % 7)});
    }
    return stack;
}

// CPU time, not wall time: on a shared machine the thread waits for a core.
double threadSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

template <class Work>
double secondsFor(Work &&work)
{
    const double start = threadSeconds();
    work();
    return threadSeconds() - start;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption({QStringLiteral("rounds"), QStringLiteral("Covered rounds."), QStringLiteral("N"), QStringLiteral("1000")});
    parser.addOption({QStringLiteral("balls"), QStringLiteral("Balls a round."), QStringLiteral("N"), QStringLiteral("100")});
    parser.addOption({QStringLiteral("ticks"), QStringLiteral("Motion ticks a run."), QStringLiteral("N"), QStringLiteral("100")});
    parser.addOption({QStringLiteral("runs"), QStringLiteral("Runs of each loop."), QStringLiteral("N"), QStringLiteral("9")});
    parser.process(app);
    const int rounds = qMax(1, parser.value(QStringLiteral("rounds")).toInt());
    const int balls = qMax(1, parser.value(QStringLiteral("balls")).toInt());
    const int ticks = qMax(1, parser.value(QStringLiteral("ticks")).toInt());
    const int runs = qMax(1, parser.value(QStringLiteral("runs")).toInt());
    const double count = double(rounds) * balls;

    const size_t heapBefore = heapInUse();
    std::vector<QList<Ball>> stack = stackRounds(rounds, balls);
    const double bytesPerBall = double(heapInUse() - heapBefore) / count;
    const size_t bareBefore = heapInUse();
    std::vector<std::vector<BareBall>> bare = stackBareRounds(rounds, balls);
    const double bareBytesPerBall = double(heapInUse() - bareBefore) / count;

    long hits = 0;
    float sum = 0;
    std::vector<double> game, floor;
    for (int run = 0; run < runs; ++run) {
        game.push_back(secondsFor([&] {
            for (int tick = 0; tick < ticks; ++tick) {
                for (QList<Ball> &round : stack) {
                    for (Ball &ball : round) {
                        if (Geometry::rectIntersectsRect(kPlayer, ball.frame()))
                            ++hits;
                        ball.move(kField);
                    }
                }
            }
        }));
        floor.push_back(secondsFor([&] {
            for (int tick = 0; tick < ticks; ++tick) {
                for (std::vector<BareBall> &round : bare) {
                    for (BareBall &ball : round) {
                        ball.x += ball.velocityX;
                        ball.y += ball.velocityY;
                        sum += ball.x;
                    }
                }
            }
        }));
    }
    const double perTick = 1e9 / (count * ticks);
    std::printf("%d rounds of %d balls, %d ticks a run, median of %d runs (%ld game overs asked, checksum %g)\n",
                rounds, balls, ticks, runs, hits, double(sum));
    std::printf("| loop | bytes per ball | ns per ball per tick |\n|---|---|---|\n");
    std::printf("| the game's motion tick over Ball values | %.1f | %.2f |\n", bytesPerBall, median(game) * perTick);
    std::printf("| floor: bare loop over %zu-byte structs | %.1f | %.2f |\n", sizeof(BareBall), bareBytesPerBall,
                median(floor) * perTick);
    return 0;
}
