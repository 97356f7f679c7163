#pragma once
// lvButtons_H: the program's skinned button. It paints its own face and runs its own press,
// hover and key handling, so it derives from QWidget rather than QAbstractButton, whose state
// machine (click on Space key-down + up, auto-repeat, its own check logic) would have to be
// fought at every step.
//
// Modes: Command raises Click; Check toggles Value and raises Click; Option sets Value, clears
// it on every Option sibling (same parent widget), and raises Click. Click comes on a left
// release over the button, as with any push button, so a press dragged off and released
// elsewhere does nothing; on a Space key-up while Space or the mouse holds the button; and from
// click(). An Option button whose Value is false also takes the key-up of an arrow or Shift as
// a click, and its arrow key-downs move the focus through the group, so that arrows choose the
// next option as in a group of radio buttons.
//
// The property names are the stored vocabulary, so QObject::setProperty("cBack", ...) works
// on them. Font, Enabled, mIcon and mPointer of that vocabulary are QWidget's own font,
// enabled state and cursor.

#include <QColor>
#include <QImage>
#include <QPixmap>
#include <QPoint>
#include <QString>
#include <QTimer>
#include <QWidget>

namespace nq {

class lvButtons_H : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString Caption READ caption WRITE setCaption)
    Q_PROPERTY(int CapAlign READ capAlign WRITE setCapAlign)
    Q_PROPERTY(int CapStyle READ capStyle WRITE setCapStyle)
    Q_PROPERTY(int BackStyle READ backStyle WRITE setBackStyle)
    Q_PROPERTY(int Shape READ shape WRITE setShape)
    Q_PROPERTY(int Mode READ mode WRITE setMode)
    Q_PROPERTY(bool Value READ value WRITE setValue NOTIFY valueChanged)
    Q_PROPERTY(int Gradient READ gradient WRITE setGradient)
    Q_PROPERTY(QColor cGradient READ gradientColor WRITE setGradientColor)
    Q_PROPERTY(QColor cBack READ faceColor WRITE setFaceColor)
    Q_PROPERTY(QColor cFore READ foreColor WRITE setForeColor)
    // Stored files carry the back hover colour under both spellings; they are one colour.
    Q_PROPERTY(QColor cBhover READ hoverFaceColor WRITE setHoverFaceColor)
    Q_PROPERTY(QColor cBHover READ hoverFaceColor WRITE setHoverFaceColor)
    Q_PROPERTY(QColor cFHover READ hoverForeColor WRITE setHoverForeColor)
    Q_PROPERTY(QColor BackColor READ surroundColor WRITE setSurroundColor)
    Q_PROPERTY(QPixmap Image READ image WRITE setImage)
    Q_PROPERTY(int ImgAlign READ imgAlign WRITE setImgAlign)
    Q_PROPERTY(int ImgSize READ imgSize WRITE setImgSize)
    Q_PROPERTY(bool Focus READ showsFocus WRITE setShowsFocus)
    Q_PROPERTY(bool DisplayAsDefault READ displayAsDefault WRITE setDisplayAsDefault)
    Q_PROPERTY(bool LockHover READ lockHover WRITE setLockHover)
    Q_PROPERTY(bool CustomClick READ customClick WRITE setCustomClick)

  public:
    enum ModeKind { Command = 0, Check = 1, Option = 2 };
    enum ShapeKind { Rectangle = 0, RoundedRectangle = 1 };
    // Transparent draws no face at rest, only while hovered, pressed or chosen (tabs, toolbars).
    enum BackStyleKind { Transparent = 0, Opaque = 1 };
    // The direction from cBack to cGradient; None paints cBack flat.
    enum GradientKind { None = 0, Vertical = 1, Horizontal = 2, Diagonal = 3 };
    enum CapAlignKind { Center = 0, Left = 1, Right = 2 };
    enum CapStyleKind { Plain = 0, Engraved = 1 };  // Engraved: a light copy one pixel below
    enum ImgAlignKind { ImageLeft = 0, ImageRight = 1, ImageTop = 2, ImageBottom = 3 };

    // The state bit mask.
    static constexpr int kHeldBit = 2;  // the left button (or Space) holds the button down
    static constexpr int kOverBit = 4;  // the cursor is over the button
    // How often a hovered button checks whether the cursor has left it, in milliseconds.
    static constexpr int kHoverPollMs = 50;

    explicit lvButtons_H(QWidget* parent = nullptr);
    lvButtons_H(const QString& caption, QWidget* parent = nullptr);

    int state() const { return state_; }
    Qt::MouseButton lastButton() const { return lastButton_; }

    QString caption() const { return caption_; }
    void setCaption(const QString& text);
    int capAlign() const { return capAlign_; }
    void setCapAlign(int align);
    int capStyle() const { return capStyle_; }
    void setCapStyle(int style);
    int backStyle() const { return backStyle_; }
    void setBackStyle(int style);
    int shape() const { return shape_; }
    void setShape(int shape);
    int mode() const { return mode_; }
    void setMode(int mode);
    bool value() const { return value_; }
    // True on an Option button clears its siblings' Value. Raises valueChanged, never Click.
    void setValue(bool on);
    int gradient() const { return gradient_; }
    void setGradient(int kind);
    QColor gradientColor() const { return gradientColor_; }
    void setGradientColor(const QColor& c);
    QColor faceColor() const { return face_; }
    void setFaceColor(const QColor& c);
    QColor foreColor() const { return fore_; }
    void setForeColor(const QColor& c);
    // An invalid colour means no change under the cursor.
    QColor hoverFaceColor() const { return hoverFace_; }
    void setHoverFaceColor(const QColor& c);
    QColor hoverForeColor() const { return hoverFore_; }
    void setHoverForeColor(const QColor& c);
    // BackColor: what shows around a rounded face; invalid leaves the parent visible there.
    QColor surroundColor() const { return surround_; }
    void setSurroundColor(const QColor& c);
    QPixmap image() const { return image_; }
    void setImage(const QPixmap& picture);
    int imgAlign() const { return imgAlign_; }
    void setImgAlign(int align);
    int imgSize() const { return imgSize_; }
    void setImgSize(int pixels);
    // Focus: whether a focused button draws its dotted focus frame.
    bool showsFocus() const { return showsFocus_; }
    void setShowsFocus(bool on);
    // DisplayAsDefault: a light line inside the border marks the button Return stands for.
    bool displayAsDefault() const { return displayAsDefault_; }
    void setDisplayAsDefault(bool on);
    // LockHover: a Check or Option button whose Value is true keeps the hover face, instead of
    // the pressed-in face it shows otherwise: the look of the current tab.
    bool lockHover() const { return lockHover_; }
    void setLockHover(bool on);
    // CustomClick: Check and Option buttons leave Value to the Click handler.
    bool customClick() const { return customClick_; }
    void setCustomClick(bool on) { customClick_ = on; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  public slots:
    // What a user's click does, for code that clicks on the user's behalf. A disabled button
    // does nothing.
    void click();

  signals:
    void Click();
    void valueChanged(bool on);
    void hoverChanged(bool over);
    void mouseDown(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, QPoint at);
    void mouseMove(Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers, QPoint at);
    void mouseUp(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, QPoint at);
    // The key of a key-up, or 0 when the button took the key for itself.
    void keyUp(int key, Qt::KeyboardModifiers modifiers);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool event(QEvent* event) override;

  private:
    void pollHover();
    void endHover();
    bool cursorOver() const;
    void focusNeighbour(int step);
    QSize contentSize() const;
    void paintContent(QPainter& painter, const QColor& fore, bool pressed);
    void setStateBit(int bit, bool on);
    const QImage& gradientImage(const QColor& from, const QColor& to);

    int state_ = 0;
    Qt::MouseButton lastButton_ = Qt::NoButton;
    bool keyHeld_ = false;  // the held bit came from Space, not from the mouse
    QTimer hoverTimer_;

    QString caption_;
    int capAlign_ = Center;
    int capStyle_ = Plain;
    int backStyle_ = Opaque;
    int shape_ = Rectangle;
    int mode_ = Command;
    bool value_ = false;
    int gradient_ = None;
    QColor gradientColor_{212, 208, 200};
    QColor face_{240, 240, 240};
    QColor fore_{Qt::black};
    QColor hoverFace_;
    QColor hoverFore_;
    QColor surround_;
    QPixmap image_;
    QPixmap scaledImage_;
    int imgAlign_ = ImageLeft;
    int imgSize_ = 16;
    bool showsFocus_ = true;
    bool displayAsDefault_ = false;
    bool lockHover_ = false;
    bool customClick_ = false;
    int mnemonicId_ = 0;  // the Alt+letter shortcut of an "&" in the caption

    // The last gradient face and what it was painted for: repaints in an unchanged state (a
    // window exposed, the focus moving) reuse it.
    struct FaceCache {
        QSize size;
        QRgb from = 0, to = 0;
        int kind = -1;
        QImage image;
    } faceCache_;
};

}  // namespace nq
