#include "RendererWatch.h"

#include "MonotonicClock.h"
#include "WebContent.h"

#include <QFile>
#include <QVariant>
#include <csignal>
#include <unistd.h>

namespace Velmora::Platform {

namespace {

constexpr int kPollMilliseconds = 100;

}  // namespace

RendererWatch *RendererWatch::shared()
{
    static RendererWatch *const watch = new RendererWatch;
    return watch;
}

RendererWatch::RendererWatch()
{
    poll_.setInterval(kPollMilliseconds);
    connect(&poll_, &QTimer::timeout, this, &RendererWatch::poll);
}

void RendererWatch::check(WebContent *content, QObject *context, std::function<void(bool stuck)> verdict)
{
    const qint64 pid = content->renderProcessPid();
    if (pid <= 0) {
        verdict(false);
        return;
    }
    Renderer &renderer = renderers_[pid];
    if (renderer.stuck) {
        verdict(true);
        return;
    }
    if (renderer.waiting.empty())
        renderer.quietSince = processorSeconds(pid).value_or(0);
    renderer.waiting.push_back({context, std::move(verdict)});
    // A question dropped with its page comes back empty: that is no answer.
    content->ping([pid](bool answered) {
        if (answered)
            RendererWatch::shared()->signOfLife(pid);
    });
    poll_.start();
}

void RendererWatch::signOfLife(qint64 pid)
{
    if (renderers_.contains(pid))
        decide(pid, false);
}

void RendererWatch::poll()
{
    for (const qint64 pid : renderers_.keys()) {
        const auto found = renderers_.constFind(pid);
        if (found == renderers_.constEnd())
            continue;
        const std::optional<double> ran = processorSeconds(pid);
        if (!ran || (found->stuck && found->waiting.empty()))
            decide(pid, false);
        else if (*ran - found->quietSince >= kStuckProcessorSeconds)
            decide(pid, true);
    }
    if (renderers_.isEmpty())
        poll_.stop();
}

// A stuck renderer stays so for the questions asked until the next poll: the
// one who heard it may well ask again on its way to ending it.
void RendererWatch::decide(qint64 pid, bool stuck)
{
    const auto found = renderers_.find(pid);
    if (found == renderers_.end())
        return;
    const std::vector<Verdict> waiting = std::exchange(found->waiting, {});
    if (stuck)
        found->stuck = true;
    else
        renderers_.erase(found);
    for (const Verdict &verdict : waiting) {
        if (verdict.context)
            verdict.call(stuck);
    }
}

std::optional<double> RendererWatch::processorSeconds(qint64 pid)
{
    const QString main = QString::number(pid);
    QFile stat(QStringLiteral("/proc/%1/task/%1/stat").arg(main));
    if (!stat.open(QIODevice::ReadOnly)) {
        if (::kill(pid_t(pid), 0) != 0)
            return std::nullopt;
        return MonotonicClock::seconds();
    }
    // The command name may hold spaces; the fields after it do not.
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    const QByteArray state = fields.value(0);
    if (state == "Z" || state == "X")
        return std::nullopt;
    const qint64 ticks = fields.value(11).toLongLong() + fields.value(12).toLongLong();
    return double(ticks) / double(sysconf(_SC_CLK_TCK));
}

}  // namespace Velmora::Platform
