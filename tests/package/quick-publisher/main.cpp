// A Qt Quick publisher's program: a QGuiApplication, a QML engine and
// BannerAd items, nothing but the installed package. Each case prints what
// happens, a line each, and quits; the suite judges the lines.
//   quick-publisher ad | done-while-opening | webapp | mail | unseen | churn
//                   | quit-with-browser | loader | window-closed | engine-first
#include <VelmoraAds/PrivacySettings.h>

#include <QDebug>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQmlExpression>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

#include <malloc.h>

#include <cstdio>
#include <functional>
#include <memory>

namespace {

constexpr int kGiveUpMs = 60000;

// Each case's scene; `say` prints a line, `ready` is called when the program
// should act.
const char *const kCommon = R"(
import QtQuick
import QtQuick.Controls
import Velmora.Ads
ApplicationWindow {
    id: window
    width: 320; height: 480; visible: true
    component Banner: BannerAd {
        adUnitId: "a1f3c29b07d5e64"
        onAdReceived: host.say(objectName + " adReceived " + implicitWidth + "x" + implicitHeight)
        onAdFailed: (code, message) => host.say(objectName + " adFailed " + code + " " + message)
        onScreenWillPresent: host.say("screenWillPresent")
        onScreenWillDismiss: host.say("screenWillDismiss")
        onScreenDidDismiss: host.say("screenDidDismiss")
        property bool loadAtStart: true
        Component.onCompleted: if (loadAtStart) load()
    }
)";

const char *const kAdScene = R"(
    Banner { objectName: "bottom"; anchors.bottom: parent.bottom; width: parent.width }
    Component.onCompleted: PrivacySettings.personalisedAdsAllowed = true
}
)";

// Three banners that cannot be seen at first: in a list scrolled away from
// them, under a drawer, and clipped to a third by their parent.
const char *const kUnseenScene = R"(
    property int step: 0
    ListView {
        id: list
        objectName: "list"
        anchors { top: parent.top; left: parent.left; right: parent.right }
        height: 200
        cacheBuffer: 4000
        model: 30
        delegate: Item {
            width: ListView.view.width; height: 50
            Text { text: "Article " + index; visible: index !== 25 }
            Banner { objectName: "listed"; visible: index === 25; width: parent.width }
        }
    }
    Banner { id: covered; objectName: "covered"; y: 250; width: parent.width; loadAtStart: false }
    Drawer {
        id: drawer; objectName: "drawer"; edge: Qt.BottomEdge; width: parent.width; height: 280
        modal: false; interactive: false
        onOpened: covered.load()
    }
    Item {
        id: frame
        objectName: "frame"
        y: 420; width: parent.width; height: 16; clip: true
        Banner { objectName: "clipped"; width: parent.width }
    }
    Component.onCompleted: drawer.open()
    function reveal(what) {
        if (what === "listed") list.positionViewAtIndex(25, ListView.Beginning)
        if (what === "covered") drawer.close()
        if (what === "clipped") frame.height = 50
        host.say("revealed " + what)
    }
}
)";

// List delegates made and unmade as the list scrolls.
const char *const kChurnScene = R"(
    ListView {
        id: list
        objectName: "list"
        anchors.fill: parent
        model: 100000
        delegate: Banner { objectName: "delegate"; width: ListView.view.width; height: 50; onAdReceived: {} }
    }
}
)";

const char *const kLoaderScene = R"(
    Loader {
        id: loader
        objectName: "loader"
        anchors.fill: parent
        sourceComponent: Item { Banner { objectName: "loaded"; anchors.bottom: parent.bottom; width: parent.width } }
    }
}
)";

class Host : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void say(const QString &line)
    {
        std::printf("%s\n", qPrintable(line));
        std::fflush(stdout);
        emit said(line);
    }
    // The desktop's mail program, as far as this program can tell.
    Q_INVOKABLE void openMail(const QUrl &url) { say(QStringLiteral("mail program got ") + url.toString()); }
signals:
    void said(const QString &line);
};

Host host;
std::unique_ptr<QQmlApplicationEngine> engine;

QQuickWindow *window()
{
    return qobject_cast<QQuickWindow *>(engine->rootObjects().value(0));
}

void load(const char *scene)
{
    engine = std::make_unique<QQmlApplicationEngine>();
    engine->rootContext()->setContextProperty(QStringLiteral("host"), &host);
    engine->loadData(QByteArray(kCommon) + scene);
    if (engine->rootObjects().isEmpty())
        std::exit(3);
}

// Once, on the first line that starts so.
void on(const QString &line, std::function<void()> then)
{
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = QObject::connect(&host, &Host::said, &host, [connection, line, then](const QString &said) {
        if (!said.startsWith(line))
            return;
        QObject::disconnect(*connection);
        then();
    });
}

void clickAt(QPointF scenePoint)
{
    const QPointF global = window()->mapToGlobal(scenePoint);
    for (QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, scenePoint, global, Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, {});
        QCoreApplication::sendEvent(window(), &event);
    }
}

QQuickItem *named(const QString &name)
{
    QQuickItem *found = window()->findChild<QQuickItem *>(name);
    return found ? found : window()->contentItem()->findChild<QQuickItem *>(name);
}

// A player's tap on the ad: the press the library sees, and the click the
// page sees (the engine takes no synthetic input without a graphics backend).
void tap(QQuickItem *banner)
{
    clickAt(banner->mapToScene(QPointF(banner->width() / 2, banner->height() / 2)));
    for (QQuickItem *item : banner->findChildren<QQuickItem *>()) {
        if (item->inherits("QQuickWebEngineView"))
            QMetaObject::invokeMethod(item, "runJavaScript",
                                      Q_ARG(QString, QStringLiteral("document.getElementById('ad').click();")));
    }
}

void click(QQuickItem *item)
{
    clickAt(item->mapToScene({item->width() / 2, item->height() / 2}));
}

// Once `name` is shown in this program's window and has stopped moving:
// says where, in the window's coordinates, and how large.
void whenUp(const QString &name, std::function<void(QQuickItem *)> then)
{
    auto *poll = new QTimer(&host);
    QObject::connect(poll, &QTimer::timeout, [=] {
        QQuickItem *item = named(name);
        if (!item || !item->isVisible() || item->mapToScene({0, 0}) != item->property("lastPlace").toPointF()) {
            if (item)
                item->setProperty("lastPlace", item->mapToScene({0, 0}));
            return;
        }
        poll->deleteLater();
        poll->stop();
        const QPointF place = item->mapToScene({0, 0});
        host.say(QStringLiteral("%1 at %2,%3 %4x%5")
                     .arg(name)
                     .arg(place.x())
                     .arg(place.y())
                     .arg(item->width())
                     .arg(item->height()));
        then(item);
    });
    poll->start(100);
}

void whenBrowserUp(std::function<void(QQuickItem *done)> then)
{
    whenUp(QStringLiteral("browser"), [then](QQuickItem *) { then(named(QStringLiteral("Done"))); });
}

int adAndBrowser()
{
    load(kAdScene);
    on(QStringLiteral("bottom adReceived"), [] {
        host.say(QStringLiteral("personalised ads allowed from QML: %1")
                     .arg(Velmora::Ads::PrivacySettings::instance()->personalisedAdsAllowed()));
        tap(named(QStringLiteral("bottom")));
    });
    on(QStringLiteral("screenWillPresent"), [] { whenBrowserUp(click); });
    on(QStringLiteral("screenDidDismiss"), [] { QTimer::singleShot(0, qApp, &QCoreApplication::quit); });
    return qApp->exec();
}

// Done as the browser starts to slide in: each event still comes once.
int doneWhileOpening()
{
    load(kAdScene);
    on(QStringLiteral("bottom adReceived"), [] { tap(named(QStringLiteral("bottom"))); });
    on(QStringLiteral("screenWillPresent"), [] {
        QTimer::singleShot(0, [] { click(named(QStringLiteral("Done"))); });
    });
    on(QStringLiteral("screenDidDismiss"), [] { QTimer::singleShot(1000, qApp, &QCoreApplication::quit); });
    return qApp->exec();
}

// What the web app's page says it shows.
void askPage(const QString &script)
{
    QQmlExpression pageSays(engine->rootContext(), nullptr, QStringLiteral("(answer) => host.say('page: ' + answer)"));
    for (QQuickItem *item : named(QStringLiteral("webApp"))->findChildren<QQuickItem *>()) {
        if (item->inherits("QQuickWebEngineView"))
            QMetaObject::invokeMethod(item, "runJavaScript", Q_ARG(QString, script),
                                      Q_ARG(QJSValue, pageSays.evaluate().value<QJSValue>()));
    }
}

// The web app screen opens twice: the page closes it the first time, its
// close button the second.
int webApp()
{
    load(kAdScene);
    on(QStringLiteral("bottom adReceived"), [] { tap(named(QStringLiteral("bottom"))); });
    on(QStringLiteral("screenWillPresent"), [] {
        whenUp(QStringLiteral("webApp"), [](QQuickItem *) {
            auto *poll = new QTimer(&host);
            QObject::connect(poll, &QTimer::timeout, [poll] {
                if (named(QStringLiteral("Spinner"))->isVisible())
                    return;
                poll->deleteLater();
                const QPointF close = named(QStringLiteral("closeButton"))->mapToScene({0, 0});
                host.say(QStringLiteral("spinner gone, close button at %1,%2").arg(close.x()).arg(close.y()));
                askPage(QStringLiteral("document.getElementById('status').textContent.split(' ')[0]"));
            });
            poll->start(100);
        });
    });
    on(QStringLiteral("page: Welcome!"), [] { askPage(QStringLiteral("document.getElementById('close').click(); 'closing'")); });
    on(QStringLiteral("screenDidDismiss"), [] {
        on(QStringLiteral("screenWillPresent"), [] {
            whenUp(QStringLiteral("webApp"), [](QQuickItem *) { click(named(QStringLiteral("closeButton"))); });
        });
        on(QStringLiteral("screenDidDismiss"), [] { QTimer::singleShot(0, qApp, &QCoreApplication::quit); });
        QTimer::singleShot(500, [] { tap(named(QStringLiteral("bottom"))); });
    });
    return qApp->exec();
}

// The mail form, filled from the ad's link, hands the mail to the desktop.
int mail()
{
    QDesktopServices::setUrlHandler(QStringLiteral("mailto"), &host, "openMail");
    load(kAdScene);
    on(QStringLiteral("bottom adReceived"), [] {
        tap(named(QStringLiteral("bottom")));
        whenUp(QStringLiteral("mailForm"), [](QQuickItem *) {
            host.say(QStringLiteral("subject: ") + named(QStringLiteral("subjectInput"))->property("text").toString());
            named(QStringLiteral("toInput"))->setProperty("text", QStringLiteral("friend@example.org"));
            click(named(QStringLiteral("send")));
            QTimer::singleShot(1000, [] {
                host.say(QStringLiteral("mail form closed: %1").arg(named(QStringLiteral("mailForm")) ? "no" : "yes"));
                QCoreApplication::quit();
            });
        });
    });
    return qApp->exec();
}

// Each banner is revealed after a wait in which it must have asked for nothing.
int unseen()
{
    load(kUnseenScene);
    const QStringList order{QStringLiteral("listed"), QStringLiteral("covered"), QStringLiteral("clipped")};
    auto reveal = [](const QString &what) {
        QTimer::singleShot(3000, [what] {
            host.say(QStringLiteral("waited for %1").arg(what));
            QMetaObject::invokeMethod(window(), "reveal", Q_ARG(QVariant, what));
        });
    };
    reveal(order.first());
    for (int i = 0; i < order.size(); ++i) {
        on(order[i] + QStringLiteral(" ad"), [=] {
            if (i + 1 < order.size())
                reveal(order[i + 1]);
            else
                QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        });
    }
    return qApp->exec();
}

// The heap in use once the delegates scrolled away are really gone: the QML
// engine's garbage and deferred deletions done, and the heap steady for half
// a second (a loaded machine frees what the engine let go late). What the
// heap holds is what was kept; resident memory also moves with what the
// machine's load leaves mapped, by tens of megabytes between readings.
void sayHeapSettled(const QString &label, std::function<void()> then)
{
    engine->collectGarbage();
    auto last = std::make_shared<size_t>(0);
    auto polls = std::make_shared<int>(0);
    auto *poll = new QTimer(&host);
    QObject::connect(poll, &QTimer::timeout, [=] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const size_t heap = mallinfo2().uordblks;
        const bool steady = *polls > 0 && (heap > *last ? heap - *last : *last - heap) < 256 * 1024;
        *last = heap;
        if (!steady && ++*polls < 16)
            return;
        poll->deleteLater();
        host.say(QStringLiteral("heap after %1: %2 kB").arg(label).arg(heap / 1024));
        then();
    });
    poll->start(500);
}

// Scrolls a page at a time: ten delegates made and unmade each step. The
// first 500 warm the engine up; the next 500 must cost nothing more.
int churn()
{
    load(kChurnScene);
    auto *list = named(QStringLiteral("list"));
    auto step = std::make_shared<int>(0);
    auto *scroll = new QTimer(&host);
    QObject::connect(scroll, &QTimer::timeout, [list, step, scroll] {
        ++*step;
        list->setProperty("contentY", list->property("contentY").toReal() + 10 * 50);
        if (*step == 50) {
            scroll->stop();
            sayHeapSettled(QStringLiteral("500"), [scroll] { scroll->start(); });
        } else if (*step == 100) {
            scroll->stop();
            sayHeapSettled(QStringLiteral("1000"), [] { QCoreApplication::quit(); });
        }
    });
    scroll->start(200);
    return qApp->exec();
}

int exitShape(const QString &shape)
{
    if (shape == QLatin1String("quit-with-browser")) {
        load(kAdScene);
        on(QStringLiteral("bottom adReceived"), [] { tap(named(QStringLiteral("bottom"))); });
        on(QStringLiteral("screenWillPresent"), [] { whenBrowserUp([](QQuickItem *) { engine->evaluate("Qt.quit()"); }); });
    } else if (shape == QLatin1String("loader")) {
        load(kLoaderScene);
        on(QStringLiteral("loaded adReceived"), [] {
            named(QStringLiteral("loader"))->setProperty("active", false);
            QTimer::singleShot(500, qApp, &QCoreApplication::quit);
        });
    } else if (shape == QLatin1String("window-closed")) {
        load(kAdScene);
        on(QStringLiteral("bottom adReceived"), [] { window()->close(); });
    } else if (shape == QLatin1String("engine-first")) {
        load(kAdScene);
        on(QStringLiteral("bottom adReceived"), [] {
            QTimer::singleShot(0, [] {
                engine.reset();
                QTimer::singleShot(200, qApp, &QCoreApplication::quit);
            });
        });
    } else {
        return 2;
    }
    const int status = qApp->exec();
    host.say(QStringLiteral("exec returned %1").arg(status));
    engine.reset();
    return status;
}

}  // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    QTimer::singleShot(kGiveUpMs, [] {
        host.say(QStringLiteral("gave up"));
        std::_Exit(4);
    });
    const QString shape = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("ad");
    int status;
    if (shape == QLatin1String("ad"))
        status = adAndBrowser();
    else if (shape == QLatin1String("done-while-opening"))
        status = doneWhileOpening();
    else if (shape == QLatin1String("webapp"))
        status = webApp();
    else if (shape == QLatin1String("mail"))
        status = mail();
    else if (shape == QLatin1String("unseen"))
        status = unseen();
    else if (shape == QLatin1String("churn"))
        status = churn();
    else
        status = exitShape(shape);
    engine.reset();
    return status;
}

#include "main.moc"
