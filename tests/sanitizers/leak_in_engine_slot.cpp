// Leaks on purpose, in a slot the web engine calls when a page has loaded, so the engine's own
// frames lie on the allocation's stack. The sanitizer pass must still report this leak: a
// suppression that matched any engine frame would hide every leak in the project's web handlers.
#include <QApplication>
#include <QWebEnginePage>

class LeakingPage : public QWebEnginePage
{
public:
    LeakingPage()
    {
        connect(this, &QWebEnginePage::loadFinished, this, &LeakingPage::leakOnLoadFinished);
    }

private:
    Q_NEVER_INLINE void leakOnLoadFinished(bool)
    {
        leaked = new QByteArray(4096, 'x');
        leaked = nullptr;
        QCoreApplication::quit();
    }

    static inline QByteArray *volatile leaked = nullptr;
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    LeakingPage page;
    page.setHtml(QStringLiteral("<p>loaded</p>"));
    return app.exec();
}
