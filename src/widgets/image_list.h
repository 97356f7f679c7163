#pragma once
// ImageList: the pictures a list or tree indexes by number, cut from one strip. The program's
// head strips hold square cells side by side, cell i (from 1) at x = (i - 1) x side, so one file
// serves every view and a new picture is one more cell.

#include <QPixmap>
#include <QString>
#include <vector>

class QPainter;

namespace nq {

class ImageList {
  public:
    ImageList() = default;
    // Cuts a strip into square cells as high as the strip; a strip narrower than one cell
    // gives an empty list.
    explicit ImageList(const QPixmap& strip);
    // The strip from a file; an unreadable file gives an empty list, whose icons paint nothing.
    static ImageList fromFile(const QString& path);

    [[nodiscard]] int count() const { return static_cast<int>(cells_.size()); }
    [[nodiscard]] int side() const { return side_; }
    // A null pixmap for an index outside 1..count.
    [[nodiscard]] const QPixmap& pixmap(int index) const;
    // Paints cell index with its top left at (x, y), at side px (0: the cell's own side).
    void draw(QPainter& painter, int x, int y, int index, int side = 0) const;

  private:
    std::vector<QPixmap> cells_;
    int side_ = 0;
};

}  // namespace nq
