#pragma once

#include <QString>

namespace Velmora::Platform {

// What the application says about itself: its version and its reverse-domain
// identifier, both taken from the QCoreApplication set up in main.
namespace MainBundle {

// The application version; null when main set none.
QString version();

// The organisation domain reversed, then the application name:
// "example.com" and "Game" give "com.example.Game". Without a domain, the
// application name alone.
QString identifier();

}  // namespace MainBundle

}  // namespace Velmora::Platform
