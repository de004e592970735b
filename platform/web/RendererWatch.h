#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <optional>
#include <vector>


namespace Velmora::Platform {

class WebContent;

// Tells a renderer that is stuck from one that is only slow. Pages share a
// renderer process whose one main thread runs every page's scripts, so while
// a script never yields nothing in that renderer answers. A machine whose
// cores are taken, or a renderer with many pages to get through, delays its
// answers without ending them. So a renderer counts as stuck only once its
// main thread has run kStuckProcessorSeconds, by the renderer's own clock,
// with no sign of life from any page in it: time spent waiting for a core
// does not count against it, and an answer to any page clears it.
class RendererWatch : public QObject
{
    Q_OBJECT
public:
    static constexpr double kStuckProcessorSeconds = 3.0;

    static RendererWatch *shared();

    // Asks the content's renderer for a trivial answer. `verdict` hears false
    // once that renderer shows a sign of life (or has gone), true once it is
    // stuck; at once for a page with no renderer. Nothing is heard once
    // `context` is gone.
    void check(WebContent *content, QObject *context, std::function<void(bool stuck)> verdict);
    // A page of that renderer finished a load or answered a script.
    void signOfLife(qint64 pid);

private:
    struct Verdict
    {
        QPointer<QObject> context;
        std::function<void(bool)> call;
    };
    struct Renderer
    {
        double quietSince = 0;
        bool stuck = false;
        std::vector<Verdict> waiting;
    };

    RendererWatch();
    void poll();
    void decide(qint64 pid, bool stuck);
    // Processor seconds the renderer's main thread has run; nothing once it
    // has ended. Where the system does not say, wall time stands in.
    static std::optional<double> processorSeconds(qint64 pid);

    QHash<qint64, Renderer> renderers_;
    QTimer poll_;
};

}  // namespace Velmora::Platform
