#pragma once

#include <QPixmap>
#include <QString>

class QWidget;

// The game's images by their plain names ("BallSmall_yellow.png"). Each
// image exists once in the process, however many screens show it: it is
// drawn from the highest-resolution file and brought to the display's pixel
// ratio on first use, so an image view of the image's size shows it without
// a scaled copy of its own.
namespace Artwork {

QPixmap imageNamed(const QString &name);

// Gives every label of the view that names an image in its "image" property
// (set in the interface file) that image. Rich text names images as
// "artwork:NAME" and gets the same shared pixmaps.
void showImages(QWidget *view);

}  // namespace Artwork
