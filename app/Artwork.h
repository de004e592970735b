#pragma once

#include <QPixmap>
#include <QString>

// The game's images by their plain names ("BallSmall_yellow.png"); the
// highest-resolution drawing is picked, with its scale as device pixel ratio.
namespace Artwork {

QPixmap imageNamed(const QString &name);

}  // namespace Artwork
