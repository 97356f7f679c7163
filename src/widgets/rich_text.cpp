#include "widgets/rich_text.h"

#include <QAbstractTextDocumentLayout>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>

#include <algorithm>

#include "widgets/face_movies.h"

namespace nq {

namespace {

constexpr double kTwipsPerInch = 1440.0;
constexpr QChar kPicture = QChar::ObjectReplacementCharacter;

bool isEnter(const QKeyEvent& event) {
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

// The character code a key types, as the chat's key rules know it: Enter is 13, and Ctrl+Enter
// 10 (line feed); 0 for a key that types nothing.
int keyAscii(const QKeyEvent& event) {
    if (isEnter(event)) return event.modifiers() & Qt::ControlModifier ? 10 : 13;
    return event.text().isEmpty() ? 0 : event.text().at(0).unicode();
}

// The style a write at c takes: the one in force there, without the face that may stand
// before the caret.
QTextCharFormat textFormat(const QTextCursor& c) {
    QTextCharFormat format = c.charFormat();
    format.clearProperty(QTextFormat::ObjectType);
    format.clearProperty(kFaceNumberProperty);
    return format;
}

}  // namespace

RichText::RichText(QWidget* parent) : QTextEdit(parent) {
    // Moves without a button pressed are wanted too: a pane shows a hand over its links.
    viewport()->setMouseTracking(true);
    // Qt's menu would offer undo, cut and paste in English; the chat's panes have no menu.
    setContextMenuPolicy(Qt::PreventContextMenu);
    registerFaces();
    connect(document(), &QTextDocument::documentLayoutChanged, this, &RichText::registerFaces);
    connect(document(), &QTextDocument::contentsChange, this, &RichText::scheduleWatch);
    connect(this, &QTextEdit::textChanged, this, &RichText::Change);
    connect(this, &QTextEdit::currentCharFormatChanged, this, &RichText::dropFaceFormat);
    connect(&FaceMovies::instance(), &FaceMovies::frameChanged, this, &RichText::repaintFace);
}

RichText::~RichText() {
    if (!shown_.isEmpty()) FaceMovies::instance().watch(this, {});
}

void RichText::registerFaces() {
    document()->documentLayout()->registerHandler(kFaceObjectType, &FaceMovies::instance());
}

// ---- Text and positions ----

QString RichText::Text() const {
    QString out;
    out.reserve(textLength());
    for (QTextBlock b = document()->begin(); b.isValid(); b = b.next()) {
        if (b.blockNumber() > 0) out += QStringLiteral("\r\n");
        out += b.text();
    }
    return out;
}

int RichText::textLength() const {
    // characterCount holds one separator per block, the last block's included; Text() writes
    // two characters for each but the last.
    return document()->characterCount() - 1 + document()->blockCount() - 1;
}

QList<int> RichText::faceNumbers() const {
    QList<int> out;
    for (QTextBlock b = document()->begin(); b.isValid(); b = b.next()) {
        for (auto it = b.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const QTextCharFormat format = fragment.charFormat();
            const int face =
                format.objectType() == kFaceObjectType ? format.intProperty(kFaceNumberProperty) : 0;
            for (QChar c : fragment.text())
                if (c == kPicture) out.append(face);
        }
    }
    return out;
}

int RichText::toTextPos(int docPos) const {
    docPos = std::clamp(docPos, 0, document()->characterCount() - 1);
    return docPos + document()->findBlock(docPos).blockNumber();
}

int RichText::toDocPos(int textPos) const {
    const QTextDocument* doc = document();
    textPos = std::clamp(textPos, 0, textLength());
    // The last block whose text starts at or before textPos; block n starts at its document
    // position plus n, one extra character for each paragraph end before it.
    int lo = 0;
    int hi = doc->blockCount() - 1;
    while (lo < hi) {
        const int mid = (lo + hi + 1) / 2;
        if (doc->findBlockByNumber(mid).position() + mid <= textPos)
            lo = mid;
        else
            hi = mid - 1;
    }
    const QTextBlock block = doc->findBlockByNumber(lo);
    return block.position() + std::min(textPos - block.position() - lo, block.length() - 1);
}

template <class Edit>
void RichText::edit(Edit&& change) {
    if (writing_ > 0) {
        change(batch_);
        return;
    }
    QTextCursor c = textCursor();
    change(c);
    setTextCursor(c);
}

QString RichText::SelText() const {
    QString text = cursor().selectedText();
    text.replace(QChar::ParagraphSeparator, QStringLiteral("\r\n"));
    return text;
}

void RichText::setSelText(const QString& text) {
    QString blocks = text;
    blocks.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    blocks.replace(u'\r', u'\n');
    edit([&](QTextCursor& c) { c.insertText(blocks, textFormat(c)); });
}

int RichText::SelStart() const {
    return toTextPos(cursor().selectionStart());
}

void RichText::setSelStart(int position) {
    edit([&](QTextCursor& c) { c.setPosition(toDocPos(position)); });
}

int RichText::SelLength() const {
    const QTextCursor c = cursor();
    return toTextPos(c.selectionEnd()) - toTextPos(c.selectionStart());
}

void RichText::setSelLength(int length) {
    edit([&](QTextCursor& c) {
        const int start = c.selectionStart();
        c.setPosition(start);
        c.setPosition(toDocPos(toTextPos(start) + length), QTextCursor::KeepAnchor);
    });
}

void RichText::moveToEnd() {
    edit([](QTextCursor& c) { c.movePosition(QTextCursor::End); });
}

// ---- Styles ----

QTextCharFormat RichText::selFormat() const {
    QTextCursor c = cursor();
    // The format before the caret is the first selected character's once the caret stands
    // behind it.
    if (c.hasSelection()) c.setPosition(c.selectionStart() + 1);
    return c.charFormat();
}

void RichText::mergeSel(const QTextCharFormat& format) {
    edit([&](QTextCursor& c) { c.mergeCharFormat(format); });
}

QString RichText::SelFontName() const {
    const QStringList families = QVariant(selFormat().fontFamilies()).toStringList();
    return families.isEmpty() ? document()->defaultFont().family() : families.first();
}

void RichText::setSelFontName(const QString& family) {
    QTextCharFormat format;
    format.setFontFamilies(QStringList{family});
    mergeSel(format);
}

double RichText::SelFontSize() const {
    const QTextCharFormat format = selFormat();
    return format.hasProperty(QTextFormat::FontPointSize) ? format.fontPointSize()
                                                          : document()->defaultFont().pointSizeF();
}

void RichText::setSelFontSize(double points) {
    if (points <= 0) return;
    QTextCharFormat format;
    format.setFontPointSize(points);
    mergeSel(format);
}

QColor RichText::colorFromValue(quint32 value) {
    return QColor(int(value & 0xFF), int(value >> 8 & 0xFF), int(value >> 16 & 0xFF));
}

quint32 RichText::valueFromColor(const QColor& color) {
    return quint32(color.red()) | quint32(color.green()) << 8 | quint32(color.blue()) << 16;
}

quint32 RichText::SelColor() const {
    const QTextCharFormat format = selFormat();
    return valueFromColor(format.hasProperty(QTextFormat::ForegroundBrush) ? format.foreground().color()
                                                                           : palette().color(QPalette::Text));
}

void RichText::setSelColor(quint32 value) {
    QTextCharFormat format;
    format.setForeground(colorFromValue(value));
    mergeSel(format);
}

int RichText::SelIndent() const {
    QTextCursor c = cursor();
    c.setPosition(c.selectionStart());
    return qRound(c.blockFormat().leftMargin() * kTwipsPerInch / logicalDpiX());
}

void RichText::setSelIndent(int twips) {
    QTextBlockFormat format;
    format.setLeftMargin(twips * logicalDpiX() / kTwipsPerInch);
    edit([&](QTextCursor& c) { c.mergeBlockFormat(format); });
}

bool RichText::SelUnderline() const {
    return selFormat().fontUnderline();
}

void RichText::setSelUnderline(bool on) {
    QTextCharFormat format;
    format.setFontUnderline(on);
    mergeSel(format);
}

void RichText::setLocked(bool on) {
    setReadOnly(on);
    setUndoRedoEnabled(!on);
    if (on) setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

void RichText::Refresh() {
    viewport()->update();
}

void RichText::dropFaceFormat(const QTextCharFormat& format) {
    // With the caret behind a face, Qt offers the face's format for what is typed next; typing
    // drops the object type itself, and this drops the face number that would still ride along.
    // Never with a selection, where setting the format would restyle the selected faces.
    if (!format.hasProperty(kFaceNumberProperty) || textCursor().hasSelection()) return;
    setCurrentCharFormat(textFormat(textCursor()));
}

// ---- Faces and fragments ----

bool RichText::insertFace(int face, const QString& path) {
    if (face <= 0 || !FaceMovies::instance().load(face, path)) return false;
    edit([&](QTextCursor& c) {
        const QTextCharFormat text = textFormat(c);
        QTextCharFormat picture = text;
        picture.setObjectType(kFaceObjectType);
        picture.setProperty(kFaceNumberProperty, face);
        c.insertText(QString(kPicture), picture);
        c.setCharFormat(text);
    });
    return true;
}

QTextDocumentFragment RichText::contentFragment() const {
    return QTextDocumentFragment(document());
}

void RichText::insertFragment(const QTextDocumentFragment& fragment) {
    edit([&](QTextCursor& c) { c.insertFragment(fragment); });
}

QTextBlock RichText::blockAt(qreal y) const {
    // By halving: a history pane holds thousands of blocks, and this runs at every mouse move and
    // at every frame of every moving face.
    const QAbstractTextDocumentLayout* layout = document()->documentLayout();
    int lo = 0;
    int hi = document()->blockCount() - 1;
    while (lo < hi) {
        const int mid = (lo + hi) / 2;
        if (layout->blockBoundingRect(document()->findBlockByNumber(mid)).bottom() < y)
            lo = mid + 1;
        else
            hi = mid;
    }
    return document()->findBlockByNumber(lo);
}

int RichText::charFromPos(QPoint at) const {
    const QPointF p = QPointF(at) + QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value());
    const QTextBlock block = blockAt(p.y());
    const QTextLayout* layout = block.layout();
    const QPointF local = p - layout->position();
    for (int i = 0; i < layout->lineCount(); ++i) {
        const QTextLine line = layout->lineAt(i);
        if (local.y() < line.y() + line.height() || i == layout->lineCount() - 1)
            return toTextPos(block.position() + line.xToCursor(local.x(), QTextLine::CursorOnCharacter));
    }
    return toTextPos(block.position());
}

void RichText::beginWrite() {
    if (writing_++ > 0) return;
    batch_ = textCursor();
    batch_.beginEditBlock();
}

void RichText::endWrite() {
    if (writing_ == 0 || --writing_ > 0) return;
    batch_.endEditBlock();
    setTextCursor(batch_);
    batch_ = QTextCursor();
}

// ---- Events ----

void RichText::keyPressEvent(QKeyEvent* event) {
    bool eaten = false;
    emit KeyDown(event, &eaten);
    if (!eaten)
        if (const int ascii = keyAscii(*event)) emit KeyPress(ascii, &eaten);
    if (eaten) return;
    if (isEnter(*event) && event->modifiers() & Qt::ShiftModifier) {
        // Shift+Enter would break the line inside the paragraph, a break that neither the plain
        // text nor the wire has: it ends the paragraph like Enter.
        QKeyEvent plain(event->type(), event->key(), event->modifiers() & ~Qt::ShiftModifier, event->text());
        QTextEdit::keyPressEvent(&plain);
        return;
    }
    QTextEdit::keyPressEvent(event);
}

void RichText::keyReleaseEvent(QKeyEvent* event) {
    emit KeyUp(event);
    QTextEdit::keyReleaseEvent(event);
}

void RichText::mousePressEvent(QMouseEvent* event) {
    emit MouseDown(event->button(), event->modifiers(), event->position().toPoint());
    QTextEdit::mousePressEvent(event);
}

void RichText::mouseMoveEvent(QMouseEvent* event) {
    emit MouseMove(event->buttons(), event->modifiers(), event->position().toPoint());
    QTextEdit::mouseMoveEvent(event);
}

void RichText::mouseReleaseEvent(QMouseEvent* event) {
    emit MouseUp(event->button(), event->modifiers(), event->position().toPoint());
    QTextEdit::mouseReleaseEvent(event);
}

bool RichText::canInsertFromMimeData(const QMimeData* source) const {
    return source->hasText();
}

void RichText::insertFromMimeData(const QMimeData* source) {
    // Qt's own check of a read-only view lies in the handler this replaces.
    if (isReadOnly()) return;
    QString text = source->text();
    text.remove(kPicture);
    if (!text.isEmpty()) setSelText(text);
}

QMimeData* RichText::createMimeDataFromSelection() const {
    QString text = SelText();
    text.remove(kPicture);
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    auto* data = new QMimeData;
    data->setText(text);
    return data;
}

// ---- Moving faces ----

template <class Visit>
void RichText::forEachShownFace(Visit&& visit) const {
    QAbstractTextDocumentLayout* layout = document()->documentLayout();
    const QRectF view(QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value()),
                      QSizeF(viewport()->size()));
    for (QTextBlock b = blockAt(view.top()); b.isValid(); b = b.next()) {
        const QRectF bounds = layout->blockBoundingRect(b);
        if (bounds.top() > view.bottom()) break;
        const QTextLayout* lines = b.layout();
        for (auto it = b.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const QTextCharFormat format = fragment.charFormat();
            if (format.objectType() != kFaceObjectType) continue;
            const int face = format.intProperty(kFaceNumberProperty);
            const QSizeF size = FaceMovies::instance().intrinsicSize(nullptr, 0, format);
            for (int i = 0; i < fragment.length(); ++i) {
                const int at = fragment.position() + i - b.position();
                const QTextLine line = lines->lineForTextPosition(at);
                if (!line.isValid()) continue;
                const QRectF rect(lines->position() + QPointF(line.cursorToX(at), line.y()),
                                  QSizeF(size.width(), line.height()));
                if (rect.intersects(view)) visit(face, rect.translated(-view.topLeft()));
            }
        }
    }
}

void RichText::scheduleWatch() {
    if (watchPending_) return;
    watchPending_ = true;
    // After the change has been laid out, and once for a burst of changes.
    QMetaObject::invokeMethod(this, &RichText::updateWatch, Qt::QueuedConnection);
}

void RichText::updateWatch() {
    watchPending_ = false;
    QSet<int> faces;
    if (isVisible()) forEachShownFace([&faces](int face, const QRectF&) { faces.insert(face); });
    if (faces == shown_) return;
    shown_ = faces;
    FaceMovies::instance().watch(this, shown_);
}

void RichText::repaintFace(int face) {
    if (!shown_.contains(face)) return;
    forEachShownFace([this, face](int f, const QRectF& rect) {
        if (f == face) viewport()->update(rect.toAlignedRect());
    });
}

void RichText::showEvent(QShowEvent* event) {
    QTextEdit::showEvent(event);
    scheduleWatch();
}

void RichText::hideEvent(QHideEvent* event) {
    QTextEdit::hideEvent(event);
    shown_.clear();
    FaceMovies::instance().watch(this, {});
}

void RichText::resizeEvent(QResizeEvent* event) {
    QTextEdit::resizeEvent(event);
    scheduleWatch();
}

void RichText::scrollContentsBy(int dx, int dy) {
    QTextEdit::scrollContentsBy(dx, dy);
    scheduleWatch();
}

}  // namespace nq
