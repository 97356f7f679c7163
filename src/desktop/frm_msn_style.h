#pragma once
// frmMsnStyle: the borderless toast that rises in the bottom right corner of the screen to tell
// of an event that needs no answer. Up to four stand above one another, counted by the
// ToastBoard they share; ShowPopup (desktop/show_popup.h) is how the program opens one.
//
// Geometry is kept in twips (15 twips = 1 pixel) exactly as the slide computes it and is mapped
// to whole pixels only when applied, so the heights and tops a slide goes through do not
// depend on pixel rounding. The slide advances one step per tick of a short timer instead of a
// busy loop; step() advances it by hand.

#include <QPixmap>
#include <QPointer>
#include <QRect>
#include <QString>
#include <QWidget>

#include <cstdint>

#include "widgets/gradient.h"

class QLabel;
class QPushButton;
class QTimer;

namespace nq {

class ToastBoard;

class frmMsnStyle : public QWidget {
    Q_OBJECT

  public:
    static constexpr int kBackgroundWidthPx = 180;
    static constexpr int kBackgroundHeightPx = 116;
    static constexpr int kStartHeight = 90;      // twips
    static constexpr int kRiseStep = 10;         // twips per slide-in step
    static constexpr int kSinkStep = 5;          // twips per slide-out step
    static constexpr int kSinkFloor = 120;       // twips; the slide-out stops at this height
    static constexpr int kScreenMargin = 200;    // twips from the right and below the bottom
    static constexpr int kSlideStepMs = 10;      // ms between two slide steps
    static constexpr int kDesignAlertMs = 5000;  // ms, tmrAlert's interval until Alert sets one
    static constexpr float kGradientAngle = 90.0F;
    static constexpr WinColor kGradientColour1 = winRgb(167, 197, 237);
    static constexpr WinColor kGradientColour2 = winRgb(239, 244, 252);
    static constexpr const char* kOkMessage = "User Clicked Ok On MSN Style Popup";

    enum class Phase { Created, SlidingIn, Displayed, SlidingOut, Unloaded };

    // Loads the window: the board's stored transparency, the topmost band. The board's
    // services play the sound.
    explicit frmMsnStyle(ToastBoard& board, QWidget* parent = nullptr);
    ~frmMsnStyle() override;

    // Takes a slot, places the window below the screen's bottom right, shows it, plays the sound
    // file and starts the slide-in. A time of 0 ms keeps the toast up until a click.
    void Alert(const QString& text, int time, const QString& sound);

    // The window whose "MsgBack" the Ok button calls. It takes effect once the slide-in ends, so a
    // caller set while the toast is still rising is not called back by a click during the rise.
    void setCaller(QWidget* caller);
    QWidget* caller() const { return caller_; }

    int slot() const { return slot_; }
    Phase phase() const { return phase_; }

    // The window's geometry in twips, as the slide has set it.
    int leftTwips() const { return left_; }
    int topTwips() const { return top_; }
    int widthTwips() const { return width_; }
    int heightTwips() const { return height_; }
    // The height at which the slide-in stops: background height plus the frame's extra, twips.
    [[nodiscard]] int fullHeightTwips() const;

    // Advances the running slide by one step, as one tick of its timer does; false when no
    // slide is running.
    bool step();
    QTimer* slideTimer() const { return slideTimer_; }

    // The full-screen client area in pixels: the work area less one caption bar, as the system
    // metrics for a maximised window's client area give it. Toasts are placed against its
    // bottom right.
    [[nodiscard]] static QRect fullScreenClientArea();

    // Controls, under their design names.
    QWidget* picBackground = nullptr;
    QLabel* lblAlert = nullptr;
    QPushButton* cmdOk = nullptr;
    QTimer* tmrAlert = nullptr;
    QLabel* Image1 = nullptr;  // the close mark as shown
    QPixmap Image2;            // its pressed picture
    QPixmap Image3;            // its normal picture

  public slots:
    void onAlertTimer();        // tmrAlert fired: slide out, then unload
    void onCloseMarkClicked();  // Image1 clicked
    void onOkClicked();         // cmdOk clicked

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void buildControls();
    void applyGeometry();
    void finishSlideIn();
    void unload();
    void releaseSlot();
    void setLinkLook(bool link);

    ToastBoard& board_;
    CGradient gradient_;
    QPointer<QWidget> caller_;
    QPointer<QWidget> pendingCaller_;
    bool callerPending_ = false;
    QTimer* slideTimer_ = nullptr;
    Phase phase_ = Phase::Created;
    std::int16_t slot_ = 0;
    QRect screen_;         // full-screen client area, pixels
    int widthExtra_ = 0;   // twips the frame adds to the client width
    int heightExtra_ = 0;  // twips the frame adds to the client height
    int left_ = 0;         // twips
    int top_ = 0;          // twips
    int width_ = 0;        // twips
    int height_ = 0;       // twips
};

}  // namespace nq
