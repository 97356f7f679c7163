#pragma once
// XPContainer: the program's panel. It paints a two-colour background, optionally a header strip
// with a caption and a border, and holds other controls; its layouts start below the strip.
//
// Mouse events are not consumed: they are raised as signals and then go on to the parent as Qt
// propagates any ignored event, so a window can react to a press on its background. A borderless
// window drags itself either by calling moveWindowFrom() from its mouseDown handler or by setting
// dragsWindow.

#include <QColor>
#include <QPoint>
#include <QString>
#include <QWidget>

namespace nq {

class XPContainer : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QColor HeaderLightColor READ headerLightColor WRITE setHeaderLightColor)
    Q_PROPERTY(QColor HeaderDarkColor READ headerDarkColor WRITE setHeaderDarkColor)
    Q_PROPERTY(QColor BackLightColor READ backLightColor WRITE setBackLightColor)
    Q_PROPERTY(QColor BackDarkColor READ backDarkColor WRITE setBackDarkColor)
    Q_PROPERTY(QColor BorderColor READ borderColor WRITE setBorderColor)
    Q_PROPERTY(QColor TextColor READ textColor WRITE setTextColor)
    Q_PROPERTY(QString Caption READ caption WRITE setCaption)
    Q_PROPERTY(int Style READ style WRITE setStyle)
    Q_PROPERTY(int Theme READ theme WRITE setTheme)
    Q_PROPERTY(bool dragsWindow READ dragsWindow WRITE setDragsWindow)

  public:
    // Style: how much frame the panel draws. A panel inside another one or under a window's own
    // title bar wants less than a dialog's background, so the strip and the border come off in
    // that order.
    enum StyleKind {
        HeaderAndBorder = 0,  // caption strip on top, 1-pixel border all round
        BorderOnly = 1,       // no strip: the caption is not shown
        Plain = 2,            // background only, for bands that sit edge to edge with others
    };
    // Theme: a colour set assigned to all six colours at once. Blue is what a new panel has;
    // single colours set afterwards override the theme's.
    enum ThemeKind { Blue = 0, Silver = 1 };

    // The six colours in their stored order.
    struct Colours {
        QColor headerLight, headerDark, backLight, backDark, border, text;
    };
    static Colours themeColours(ThemeKind theme);

    explicit XPContainer(QWidget* parent = nullptr);

    QColor headerLightColor() const { return colours_.headerLight; }
    void setHeaderLightColor(const QColor& c);
    QColor headerDarkColor() const { return colours_.headerDark; }
    void setHeaderDarkColor(const QColor& c);
    QColor backLightColor() const { return colours_.backLight; }
    void setBackLightColor(const QColor& c);
    QColor backDarkColor() const { return colours_.backDark; }
    void setBackDarkColor(const QColor& c);
    QColor borderColor() const { return colours_.border; }
    void setBorderColor(const QColor& c);
    QColor textColor() const { return colours_.text; }
    void setTextColor(const QColor& c);

    QString caption() const { return caption_; }
    void setCaption(const QString& text);
    int style() const { return style_; }
    void setStyle(int style);  // values outside StyleKind are ignored
    int theme() const { return theme_; }
    void setTheme(int theme);  // values outside ThemeKind are ignored

    bool dragsWindow() const { return dragsWindow_; }
    void setDragsWindow(bool on) { dragsWindow_ = on; }

    // Hands the window that holds `from` to the window manager's move, as a press on a title bar
    // would. False where the platform offers no such move (no window manager, offscreen).
    static bool moveWindowFrom(QWidget* from);

    // The strip's height in pixels for the current font, 0 unless the strip is shown.
    int headerHeight() const;

  signals:
    void mouseDown(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, QPoint at);
    void mouseMove(Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers, QPoint at);
    void mouseUp(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, QPoint at);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    void applyFrameMargins();

    Colours colours_;
    QString caption_;
    int style_ = HeaderAndBorder;
    int theme_ = Blue;
    bool dragsWindow_ = false;
    bool dragging_ = false;
    QPoint grabOffset_;  // cursor minus window position at the press, in screen pixels
};

}  // namespace nq
