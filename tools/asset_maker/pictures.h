#pragma once
// The program's pictures, painted. Each function paints one picture at the size asked; no text,
// since the fonts found differ between machines and the bytes must not.

#include <QImage>

namespace nq::assets {

// The program icon: a blue speech bubble with three dots, size × size pixels: drawn for 16 and 32,
// the 32-pixel drawing scaled for anything larger.
QImage chatIcon(int size);

// A picture's offline form: the same shapes in grey, keeping transparency.
QImage greyed(const QImage& picture);

}  // namespace nq::assets
