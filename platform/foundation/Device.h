#pragma once

#include <QSizeF>
#include <QString>

#include <optional>

namespace Velmora::Platform {

// Facts about the device the program runs on, as a phone would tell them.
namespace Device {

enum class Idiom { Phone = 0, Pad = 1 };

enum class Orientation { Portrait = 1, PortraitUpsideDown = 2, LandscapeRight = 3, LandscapeLeft = 4 };

// The kind of device: always "Desktop" here.
QString model();

// The operating system's version, or the kernel's when the system gives none.
QString systemVersion();

// The hardware name from uname(), such as "x86_64".
QString machine();

// Programs run as on a phone, whatever the machine.
Idiom userInterfaceIdiom();

// Device pixels per point of the screen the program shows on; 1 without one.
double screenScale();

// The phone screen in points: always portrait 320 by 480.
QSizeF screenSize();

Orientation statusBarOrientation();

// The description of the default audio output (the first sound card of
// the file given), "" when there is no output, empty when none can be read.
std::optional<QString> audioRoute(const QString &soundCardsFile = QStringLiteral("/proc/asound/cards"));

}  // namespace Device

}  // namespace Velmora::Platform
