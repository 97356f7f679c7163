#include "widgets/image_list.h"

#include <QPainter>

namespace nq {

ImageList::ImageList(const QPixmap& strip) : side_(strip.height()) {
    if (side_ <= 0) return;
    for (int x = 0; x + side_ <= strip.width(); x += side_) cells_.push_back(strip.copy(x, 0, side_, side_));
    if (cells_.empty()) side_ = 0;
}

ImageList ImageList::fromFile(const QString& path) {
    return ImageList(QPixmap(path));
}

const QPixmap& ImageList::pixmap(int index) const {
    static const QPixmap kNone;
    return index >= 1 && index <= count() ? cells_[static_cast<size_t>(index - 1)] : kNone;
}

void ImageList::draw(QPainter& painter, int x, int y, int index, int side) const {
    const QPixmap& p = pixmap(index);
    if (p.isNull()) return;
    if (side <= 0 || side == side_) {
        painter.drawPixmap(x, y, p);
        return;
    }
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(QRect(x, y, side, side), p);
    painter.restore();
}

}  // namespace nq
