#pragma once
// cMagneticWnd: the one object that makes registered top-level windows snap to each other and
// to the work area's edges while a window drags itself, and makes a child window that touches
// its parent travel with it when the parent moves. The geometry is MagneticSnap's; this keeps
// the table of real windows and watches their moves.

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <vector>

#include "desktop/magnetic_snap.h"

class QWidget;

namespace nq {

class cMagneticWnd : public QObject {
    Q_OBJECT
  public:
    static cMagneticWnd& instance();

    int SnapWidth() const { return snap_.snapWidth; }
    void setSnapWidth(int pixels) { snap_.snapWidth = pixels; }

    // False, and no change, for a window already in the table, for something that is no
    // top-level window, or for a parent that is no top-level window.
    bool AddWindow(QWidget* window, QWidget* parent = nullptr);
    bool RemoveWindow(QWidget* window);
    void CheckGlueing();
    bool isGlued(QWidget* window) const;

    // A drag that the window does itself (a frameless window's grip): the press, each move of
    // the cursor, the release. Between them the window snaps and its glued children follow.
    void beginMove(QWidget* window, QPoint cursor);
    void moveTo(QWidget* window, QPoint cursor);
    void endMove(QWidget* window);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    cMagneticWnd() = default;
    std::vector<SnapRect> takeRects() const;
    QWidget* windowOf(MagneticSnap::Id id) const;
    void followParent(QWidget* parent);

    MagneticSnap snap_;
    std::vector<QPointer<QWidget>> windows_;  // index for index with the snap table from 1
    QWidget* dragging_ = nullptr;
    bool placing_ = false;
};

}  // namespace nq
