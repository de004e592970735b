#include "InterfaceActions.h"

#include <QAbstractButton>
#include <QMetaObject>
#include <QWidget>

void InterfaceActions::connect(QWidget *view, QObject *controller)
{
    const auto buttons = view->findChildren<QAbstractButton *>();
    for (QAbstractButton *button : buttons) {
        const QString actions = button->property("action").toString();
        for (const QString &action : actions.split(u',', Qt::SkipEmptyParts)) {
            const QByteArray slot = action.trimmed().toLatin1();
            if (controller->metaObject()->indexOfSlot(slot + "()") < 0) {
                qWarning("interface file: %s has no action %s", controller->metaObject()->className(),
                         slot.constData());
                continue;
            }
            QObject::connect(button, &QAbstractButton::clicked, controller,
                             [controller, slot] { QMetaObject::invokeMethod(controller, slot.constData()); });
        }
    }
}
