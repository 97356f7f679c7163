#pragma once
// IList: the owner-drawn list of the contact area and of the side lists of other windows. Rows
// of one height, each with a caption, a second line and an icon from an image list; one marked
// position shows a second icon; the selected row sits on a rounded highlight.
//
// The rows, the selection and the rule that picks row 1 live in the ItemList it paints (its
// own, or one given with setModel); the list repaints when the model says changed() and brings
// a row into sight on scrollIntoView(). Everything here is pixels from the surface's top left.
//
// Mouse and key events are raised as signals before the list's own handling, so that a window
// can act on a press after the list has moved its selection. OnSelect follows every change of
// the selection that the user makes (press, drag, arrow keys); Click comes on a left release
// over the list, as with a button.

#include <QColor>
#include <QPoint>
#include <QTimer>
#include <QWidget>

#include "contacts/item_list.h"

class QScrollBar;

namespace nq {

class ImageList;

class IList : public QWidget {
    Q_OBJECT
    Q_PROPERTY(int ItemHeight READ ItemHeight WRITE setItemHeight)
    Q_PROPERTY(int IconPosX READ IconPosX WRITE setIconPosX)
    Q_PROPERTY(int IconPosY READ IconPosY WRITE setIconPosY)
    Q_PROPERTY(int Icon1PosX READ Icon1PosX WRITE setIcon1PosX)
    Q_PROPERTY(int Icon1PosY READ Icon1PosY WRITE setIcon1PosY)
    Q_PROPERTY(int CaptionPosX READ CaptionPosX WRITE setCaptionPosX)
    Q_PROPERTY(int CaptionPosY READ CaptionPosY WRITE setCaptionPosY)
    Q_PROPERTY(int TextPosX READ TextPosX WRITE setTextPosX)
    Q_PROPERTY(int TextPosY READ TextPosY WRITE setTextPosY)
    Q_PROPERTY(int Selected READ Selected WRITE setSelected)

  public:
    // A drag held past the top or bottom edge scrolls one row per tick: 10 rows a second lets
    // the eye follow the names going by and still crosses a 200-row list in 20 s.
    static constexpr int kDragScrollMs = 100;
    // Wheel notch, in rows.
    static constexpr int kWheelRows = 3;
    // The highlight of the selected row.
    static constexpr QRgb kHighlight = qRgb(167, 197, 237);

    explicit IList(QWidget* parent = nullptr);
    ~IList() override;

    // The rows shown: the list's own until it is given another, which must outlive the view.
    void setModel(ItemList* model);
    [[nodiscard]] ItemList& model() const { return *model_; }
    // The pictures icons index; null paints no icons.
    void setImageList(const ImageList* images);
    [[nodiscard]] const ImageList* imageList() const { return images_; }

    [[nodiscard]] int count() const { return model_->count(); }
    [[nodiscard]] int ItemHeight() const { return itemHeight_; }
    void setItemHeight(int pixels);
    [[nodiscard]] int IconPosX() const { return iconX_; }
    [[nodiscard]] int IconPosY() const { return iconY_; }
    [[nodiscard]] int Icon1PosX() const { return icon1X_; }
    // Reads the first icon's y: stored lists rely on this answer, while painting uses the
    // second icon's own y.
    [[nodiscard]] int Icon1PosY() const { return iconY_; }
    [[nodiscard]] int CaptionPosX() const { return captionX_; }
    [[nodiscard]] int CaptionPosY() const { return captionY_; }
    [[nodiscard]] int TextPosX() const { return textX_; }
    [[nodiscard]] int TextPosY() const { return textY_; }
    void setIconPosX(int v);
    void setIconPosY(int v);
    void setIcon1PosX(int v);
    void setIcon1PosY(int v);
    void setCaptionPosX(int v);
    void setCaptionPosY(int v);
    void setTextPosX(int v);
    void setTextPosY(int v);
    // All positions at once, in this order, then a repaint.
    void SetPos(int captionX, int captionY, int textX, int textY, int iconX, int icon1Y, int icon1X,
                int iconY);

    [[nodiscard]] int Selected() const { return model_->Selected(); }
    void setSelected(int position);

    // Fits the scroll bar to the rows (off when they all fit) and repaints what shows. A list
    // with rows and no selection ever made selects row 1 first.
    void Redraw();
    // Repaints one row, if it shows.
    void DrawItem(int position);

    using QWidget::isVisible;
    // True when the row lies within the rows that fit, from the top row shown.
    [[nodiscard]] bool isVisible(int position) const;
    // With the scroll bar in use: position becomes the top row, or the last rows fill the list
    // when fewer than fit follow it.
    void ScrollTo(int position);

    // The row under y, 0 when y lies below the last row.
    [[nodiscard]] int hitTest(int y) const;
    // Whole rows the surface holds.
    [[nodiscard]] int rowsThatFit() const;
    // Rows scrolled off the top.
    [[nodiscard]] int scrollValue() const;
    [[nodiscard]] bool scrollBarOn() const;
    [[nodiscard]] bool dragScrolling() const { return dragTimer_.isActive(); }
    // The width the rows paint in: the list's, less the scroll bar's while it is on.
    [[nodiscard]] int surfaceWidth() const;

    // Paints the rows as the screen would show them, into any painter.
    void paintRows(QPainter& painter) const;

  signals:
    void Click();
    void OnSelect(int position);
    void mouseDown(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, QPoint at);
    void mouseMove(Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers, QPoint at);
    void mouseUp(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, QPoint at);
    void DblClick();
    void keyDown(int key, Qt::KeyboardModifiers modifiers);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    void connectModel();
    void refresh();
    void fitScrollBar();
    void bringIntoView(int position);
    void select(int position);
    void dragTick();
    void drawItem(QPainter& painter, int position, int surfaceWidth) const;
    void setPos(int& field, int value);

    ItemList own_;
    ItemList* model_ = &own_;
    const ImageList* images_ = nullptr;
    QScrollBar* scroll_;
    QTimer dragTimer_;
    int dragStep_ = 0;  // rows per tick: -1 up, 1 down

    int itemHeight_ = 36;
    int iconX_ = 6, iconY_ = 2;
    int icon1X_ = 6, icon1Y_ = 2;
    int captionX_ = 46, captionY_ = 2;
    int textX_ = 46, textY_ = 18;
};

}  // namespace nq
