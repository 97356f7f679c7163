#pragma once
// RichText: the rich text view of the chat window, for both the history pane and the input box,
// on Qt's document model. It offers the selection-based members a chat writes through (write at
// the caret, style the selection, indent its paragraphs), plain text out, and face pictures that
// stand inside the text as characters.
//
// Positions. Every position and length here counts characters of Text(): a picture is one
// character (U+FFFC) and a paragraph end is two ("\r\n"), so the length of Text() is the end
// position and a position remembered from it selects what was written behind it. A position that
// falls between the "\r" and the "\n" means the end of that paragraph.
//
// Styles. The Sel* setters act on the selection when there is one, otherwise on what will be
// written at the caret next; the getters read the first selected character, or the style in
// force at the caret.
//
// Faces. insertFace() puts face n at the caret as one character that knows its number; all views
// share one movie per face number (FaceMovies), which runs only while a view shows that face on
// screen, and a new frame repaints only the places where that face stands.
//
// Writing many runs at once (a received line with its faces) belongs between beginWrite() and
// endWrite(). Each write on its own lays the paragraph out again and scrolls to the caret, which
// for a long line with 100 faces costs about twenty times the batched write.

#include <QList>
#include <QPoint>
#include <QSet>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocumentFragment>
#include <QTextEdit>

class QKeyEvent;
class QMimeData;

namespace nq {

class RichText : public QTextEdit {
    Q_OBJECT

  public:
    explicit RichText(QWidget* parent = nullptr);
    ~RichText() override;

    // Plain text: pictures as U+FFFC, paragraph ends as "\r\n".
    [[nodiscard]] QString Text() const;
    [[nodiscard]] QString plainText() const { return Text(); }
    // The length of Text() without building it.
    [[nodiscard]] int textLength() const;
    // One entry per U+FFFC of Text(), in text order: the face number, or 0 for a picture that is
    // no face.
    [[nodiscard]] QList<int> faceNumbers() const;

    // The selected text (as Text() writes it); setting it replaces the selection, or writes at
    // the caret, in the style in force there, and leaves the caret behind what it wrote.
    [[nodiscard]] QString SelText() const;
    void setSelText(const QString& text);
    // Setting SelStart moves the caret there with an empty selection; setting SelLength selects
    // that many characters from SelStart.
    [[nodiscard]] int SelStart() const;
    void setSelStart(int position);
    [[nodiscard]] int SelLength() const;
    void setSelLength(int length);
    // Caret to the end, nothing selected.
    void moveToEnd();

    [[nodiscard]] QString SelFontName() const;
    void setSelFontName(const QString& family);
    [[nodiscard]] double SelFontSize() const;  // points
    void setSelFontSize(double points);
    // The 32-bit colour value of the wire: red in the low byte, blue in the third, so 0xFF0000
    // is blue.
    [[nodiscard]] quint32 SelColor() const;
    void setSelColor(quint32 value);
    // Left indent of the paragraphs the selection touches, in twips (1/1440 inch), shown in
    // pixels at the screen's resolution.
    [[nodiscard]] int SelIndent() const;
    void setSelIndent(int twips);
    [[nodiscard]] bool SelUnderline() const;
    void setSelUnderline(bool on);

    static QColor colorFromValue(quint32 value);
    static quint32 valueFromColor(const QColor& color);

    // Locked: the user can select and copy but not change the text; writes through these
    // members still work. A locked view keeps no undo history, which would grow with every line.
    [[nodiscard]] bool Locked() const { return isReadOnly(); }
    void setLocked(bool on);
    // Repaints what shows.
    void Refresh();

    // Face `face` from the picture file `path`, at the caret in place of the selection, in the
    // style in force there. False, and nothing written, when the file holds no readable picture.
    bool insertFace(int face, const QString& path);

    // The whole content with its styles, paragraphs and pictures, for insertFragment() into this
    // or another view; it is what a send box hands to the history pane.
    [[nodiscard]] QTextDocumentFragment contentFragment() const;
    // Writes the fragment at the caret in place of the selection, exactly as it was: no
    // paragraph end is added behind it.
    void insertFragment(const QTextDocumentFragment& fragment);

    // The position of the character under `at` (viewport pixels), or of the nearest one.
    [[nodiscard]] int charFromPos(QPoint at) const;

    // Writes in between go through one edit: the layout, Change and the caret's move on screen
    // come once, at the outermost endWrite(). Pairs nest.
    void beginWrite();
    void endWrite();

  signals:
    // After every change of the text, by the user or by a write.
    void Change();
    // Before the view acts on a key. A slot that sets *eaten keeps the key from the view.
    void KeyDown(QKeyEvent* event, bool* eaten);
    // After KeyDown, for a key that types a character: its code, 13 for Enter and 10 for
    // Ctrl+Enter. A slot that sets *eaten keeps the key from the view.
    void KeyPress(int keyAscii, bool* eaten);
    void KeyUp(QKeyEvent* event);
    // Mouse events at viewport pixels, raised before the view's own handling.
    void MouseDown(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, QPoint at);
    void MouseMove(Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers, QPoint at);
    void MouseUp(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, QPoint at);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    // Pasting and dropping take the text only: pictures never come in from outside.
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;
    QMimeData* createMimeDataFromSelection() const override;

  private:
    [[nodiscard]] int toTextPos(int docPos) const;
    [[nodiscard]] int toDocPos(int textPos) const;
    [[nodiscard]] QTextCursor cursor() const { return writing_ > 0 ? batch_ : textCursor(); }
    template <class Edit>
    void edit(Edit&& change);
    [[nodiscard]] QTextCharFormat selFormat() const;
    void mergeSel(const QTextCharFormat& format);
    void registerFaces();
    void dropFaceFormat(const QTextCharFormat& format);

    // The first block whose bottom lies at or below y (document pixels), else the last.
    [[nodiscard]] QTextBlock blockAt(qreal y) const;
    // Calls visit(face, rect) for each face standing in the viewport, rect in viewport pixels.
    template <class Visit>
    void forEachShownFace(Visit&& visit) const;
    void scheduleWatch();
    void updateWatch();
    void repaintFace(int face);

    QTextCursor batch_;
    int writing_ = 0;
    bool watchPending_ = false;
    QSet<int> shown_;  // face numbers in the viewport at the last count
};

}  // namespace nq
