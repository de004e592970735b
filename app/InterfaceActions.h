#pragma once

class QObject;
class QWidget;

// Wires an interface file's buttons to their controller. A button names its
// actions in the dynamic property "action" ("retry", or "startCount,powerupLabel"
// for several, run in that order); each is a slot of the controller.
namespace InterfaceActions {

void connect(QWidget *view, QObject *controller);

}  // namespace InterfaceActions
