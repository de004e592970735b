#include "Quick/TSKQuickScreen.h"

#include "ModalTransition.h"
#include "QmlComponentCache.h"
#include "Quick/TSKQuickPicture.h"
#include "QuickWebView.h"
#include "ViewController/TSKScreenLifecycle.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>

using namespace Velmora::Platform;

namespace {

// Above whatever the program stacks in its window's content.
constexpr qreal kAboveContent = 1e6;

// Twelve spokes, the newest brightest, as the widgets' activity indicator.
const char *const kSpinnerComponent = R"(
component Spinner: Item {
    id: spinner
    property bool running: true
    property int step: 0
    width: 20; height: 20
    visible: running
    Repeater {
        model: 12
        Rectangle {
            required property int index
            x: 9; y: 0.5; width: 2; height: 6; radius: 1
            color: "white"
            opacity: 0.25 + 0.75 * ((index - spinner.step + 12) % 12) / 11
            transform: Rotation { origin.x: 1; origin.y: 9.5; angle: index * 30 }
        }
    }
    NumberAnimation on step { from: 0; to: 12; duration: 960; loops: Animation.Infinite; running: spinner.running }
}
)";

}  // namespace

QByteArray TSKQuickScreen::withSpinner(const char *source)
{
    return QByteArray(source).replace("/* Spinner */", kSpinnerComponent);
}

void TSKQuickScreen::showPicture(const QQuickItem *chrome, const char *place, const QPixmap &picture)
{
    new TSKQuickPicture(picture, chrome->findChild<QQuickItem *>(QLatin1String(place)));
}

bool TSKQuickScreen::canPresent(QQuickWindow *window, TSKQuickScreen *over)
{
    if (over)
        return !over->over_ && !over->closing_;
    if (!window)
        return false;
    for (QQuickItem *item : window->contentItem()->childItems()) {
        if (qobject_cast<TSKQuickScreen *>(item))
            return false;
    }
    return true;
}

TSKQuickScreen::TSKQuickScreen(QQmlEngine *engine, std::unique_ptr<TSKScreenLifecycle> lifecycle)
    : engine_(engine), lifecycle_(std::move(lifecycle)), slide_(this, "y")
{
    // Its chrome and web views find their engine through it.
    QQmlEngine::setContextForObject(this, engine->rootContext());
    setAcceptedMouseButtons(Qt::AllButtons);
    setAcceptTouchEvents(true);
    slide_.setDuration(ModalTransition::kDurationMs);
    slide_.setEasingCurve(QEasingCurve::OutCubic);
    connect(&slide_, &QAbstractAnimation::finished, this, &TSKQuickScreen::slid);
}

TSKQuickScreen::~TSKQuickScreen() = default;

QQuickItem *TSKQuickScreen::makeChrome(const QUrl &name, const char *source, QVariantMap properties)
{
    properties.insert(QStringLiteral("screen"), QVariant::fromValue(static_cast<QObject *>(this)));
    QQmlComponent *component = QmlComponentCache::component(engine_, name, source);
    auto *chrome = qobject_cast<QQuickItem *>(component->createWithInitialProperties(properties));
    chrome->setParent(this);
    chrome->setParentItem(this);
    chrome->setSize(size());
    connect(this, &QQuickItem::widthChanged, chrome, [this, chrome] { chrome->setWidth(width()); });
    connect(this, &QQuickItem::heightChanged, chrome, [this, chrome] { chrome->setHeight(height()); });
    return chrome;
}

QuickWebView *TSKQuickScreen::makePageView(QQuickItem *chrome)
{
    auto *page = chrome->property("page").value<QQuickItem *>();
    auto *view = new QuickWebView(engine_, page);
    view->setSize(page->size());
    const auto follow = [view, page] { view->setSize(page->size()); };
    connect(page, &QQuickItem::widthChanged, view, follow);
    connect(page, &QQuickItem::heightChanged, view, follow);
    return view;
}

void TSKQuickScreen::present(QQuickWindow *window, TSKQuickScreen *over)
{
    QQuickItem *content = window->contentItem();
    under_ = over;
    if (over)
        over->over_ = this;
    focusBefore_ = window->activeFocusItem();
    if (lifecycle_)
        lifecycle_->willPresent(!over);
    // Goes with the window, like everything in it.
    setParent(content);
    setParentItem(content);
    setZ(kAboveContent);
    followWindow(content);
    forceActiveFocus();
    slide(true);
}

void TSKQuickScreen::followWindow(QQuickItem *content)
{
    setSize(content->size());
    connect(content, &QQuickItem::widthChanged, this, [this, content] { setWidth(content->width()); });
    connect(content, &QQuickItem::heightChanged, this, [this, content] {
        setHeight(content->height());
        if (slide_.state() != QAbstractAnimation::Running)
            setY(closing_ ? height() : 0);
    });
}

void TSKQuickScreen::slide(bool in)
{
    slide_.stop();
    slide_.setStartValue(in ? height() : y());
    slide_.setEndValue(in ? 0.0 : height());
    slide_.start();
}

void TSKQuickScreen::slid()
{
    if (closing_)
        disappeared();
    else
        appeared();
}

void TSKQuickScreen::appeared()
{
    if (lifecycle_)
        lifecycle_->didAppear();
    if (under_)
        under_->setCovered(true);
    screenDidAppear();
}

void TSKQuickScreen::relinquishScreen()
{
    // An opening still on its way ends first: the closing must not be taken
    // for its end, and the screen's appearance is owed before it can go.
    if (!closing_ && slide_.state() == QAbstractAnimation::Running) {
        slide_.stop();
        setY(0);
        appeared();
    }
    if (closing_ || (lifecycle_ && !lifecycle_->willRelinquish()))
        return;
    closing_ = true;
    if (over_)
        over_->relinquishScreen();
    if (lifecycle_)
        lifecycle_->didRelinquish();
    if (focusBefore_)
        QMetaObject::invokeMethod(focusBefore_, "forceActiveFocus");
    slide(false);
}

void TSKQuickScreen::disappeared()
{
    setOpacity(0);
    if (lifecycle_)
        lifecycle_->didDisappear();
    screenDidDisappear();
    if (under_) {
        under_->over_ = nullptr;
        under_->setCovered(false);
    }
    deleteLater();
}

// Out of sight under the screen opened over it, as a widget screen is; by
// opacity, for the web views it holds (see QuickWebView::setShown).
void TSKQuickScreen::setCovered(bool covered)
{
    if (closing_)
        return;
    setOpacity(covered ? 0 : 1);
    if (covered) {
        if (lifecycle_)
            lifecycle_->didDisappear();
        screenDidDisappear();
    } else {
        screenDidAppear();
    }
}

// Presses, touches and the wheel stop here, whatever lies below.
void TSKQuickScreen::mousePressEvent(QMouseEvent *event)
{
    event->accept();
}

void TSKQuickScreen::touchEvent(QTouchEvent *event)
{
    event->accept();
}

void TSKQuickScreen::wheelEvent(QWheelEvent *event)
{
    event->accept();
}
