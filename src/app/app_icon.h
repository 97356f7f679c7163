#pragma once
// The program's mark at header size: the blue speech bubble of the tray and window icon, drawn
// in code on a white tile so that it stays sharp at 44 px and stands out on the blue band.
// The small sizes are bitmaps of the desktop library (nq::appIcon).

#include <QPixmap>

namespace nq::app {

QPixmap paintBrandMark(int sizePx);

// The round picture above the login boxes: a head and shoulders on a pale blue disc, standing
// for whoever is about to log in.
QPixmap paintLoginAvatar(int sizePx);

}  // namespace nq::app
