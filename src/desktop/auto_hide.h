#pragma once
// AutoHide: slides a top-level window behind a screen edge, leaving a few pixels to catch the
// mouse, and brings it back when the mouse touches them. The geometry lives in AutoHideModel;
// this puts its two timers and the window's real position around it.

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>

#include "desktop/auto_hide_model.h"

class QWidget;

namespace nq {

class AutoHide : public QObject {
    Q_OBJECT
  public:
    // The values of the main window's control: 2 pixels seen, 5500 pixels a second, 10 ms steps.
    static AutoHideSettings mainWindowSettings() { return {2, 5500, 10, true, 1, true}; }
    // Hover checks (200 ms each) in which a window just handed back is put back at its place.
    static constexpr int kSettleChecks = 3;

    AutoHide(QWidget* window, AutoHideSettings settings);

    // Where the mouse is; the real cursor unless a test hands in its own.
    void setCursorSource(std::function<QPoint()> cursor) { cursor_ = std::move(cursor); }

    // The hover check starts. The window stays where it is: the main window's load places it.
    void start();
    void setEnabled(bool enabled);
    bool enabled() const { return model_.enabled(); }
    void OpenPanel();
    void ClosePanel();

    const AutoHideModel& model() const { return model_; }
    bool hoverTimerActive() const { return tmrCheckisMouseOver.isActive(); }
    bool animationTimerActive() const { return tmrAnimater.isActive(); }

    // One run of each timer's work, as the timers do it.
    void checkMouseOver();
    void animate();

  private:
    AutoHideWindow windowNow();  // also tells the model its screen
    void place(const std::optional<QPoint>& at);
    void moveTo(QPoint at);  // the outer top left corner, frame included
    bool settle();
    void syncTimers();

    QPointer<QWidget> window_;
    AutoHideModel model_;
    QTimer tmrCheckisMouseOver;
    QTimer tmrAnimater;
    std::function<QPoint()> cursor_;
    // Where a window that came back into the window manager's hands was put, and for how many
    // more hover checks it is put there again should the manager have placed it elsewhere.
    QPoint settleAt_;
    int settleChecks_ = 0;
};

}  // namespace nq
