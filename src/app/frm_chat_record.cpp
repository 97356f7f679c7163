#include "app/frm_chat_record.h"

#include <QApplication>
#include <QComboBox>
#include <QEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextEdit>
#include <algorithm>

#include "app/button_looks.h"
#include "desktop/magnetic_wnd.h"
#include "desktop/window_services.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/xp_container.h"

namespace nq::app {

namespace {

// Pixels of the window's own design; the width is always the chat window's.
constexpr int kDesignWidthPx = 520;
constexpr int kDesignHeightPx = 330;
constexpr int kStripMarkPx = 16;
constexpr int kStripMarkGapPx = 6;
constexpr int kMarginPx = 6;
constexpr int kRowPx = 26;
constexpr int kComboPx = 150;
constexpr int kPageButtonPx = 72;
constexpr int kLabelPx = 70;

// Windows colour values (red in the low byte, blue in the high byte) of the two looks.
constexpr unsigned kHeaderColour = 0x408000;  // dark green
constexpr unsigned kTextColour = 0x000000;
constexpr int kRecordFontPt = 10;

QColor fromWindowsColour(unsigned value) {
    return QColor(static_cast<int>(value & 0xFF), static_cast<int>((value >> 8) & 0xFF),
                  static_cast<int>((value >> 16) & 0xFF));
}

QTextCharFormat recordFormat(unsigned colour) {
    QTextCharFormat format;
    // SimSun where it is installed; otherwise whatever CJK face the system substitutes.
    format.setFontFamilies({QStringLiteral("宋体"), QStringLiteral("SimSun"), QStringLiteral("NSimSun")});
    format.setFontPointSize(kRecordFontPt);
    format.setForeground(fromWindowsColour(colour));
    return format;
}

// Record bytes as pane text: GBK to Unicode (an invalid sequence becomes "?"), and each CR LF
// or lone CR a paragraph end, as the record's line ends are.
QString paneText(std::string_view gbkBytes) {
    QString text = QString::fromStdString(gbk::toUtf8(gbkBytes));
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text;
}

QPixmap stripMark(bool close) {
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    QPixmap pm(QSize(qRound(kStripMarkPx * ratio), qRound(kStripMarkPx * ratio)));
    pm.setDevicePixelRatio(ratio);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing, true);
    const QColor ink(2, 45, 123);
    if (close) {
        p.setPen(QPen(ink, 1.6, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(4.5, 4.5), QPointF(11.5, 11.5));
        p.drawLine(QPointF(11.5, 4.5), QPointF(4.5, 11.5));
    } else {
        // A grip of six dots: the handle the window is dragged by.
        p.setPen(Qt::NoPen);
        p.setBrush(ink);
        for (int row = 0; row < 3; ++row)
            for (int col = 0; col < 2; ++col) p.drawEllipse(QPointF(6.0 + 4 * col, 4.0 + 4 * row), 1.2, 1.2);
    }
    return pm;
}

}  // namespace

frmChatRecord::frmChatRecord(const std::string& recordFile, std::string_view transValue, QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint), record_(recordFile) {
    // Each opening is a fresh window with a fresh snapshot of the file.
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(QStringLiteral("聊天记录"));
    buildControls();
    lvButtons_H1[0]->setEnabled(false);
    lvButtons_H1[1]->setEnabled(false);
    applyStoredTransparency(this, transValue);
    // The record window snaps, and sticks to the chat window that opened it.
    if (parent) {
        cMagneticWnd::instance().AddWindow(parent->window());
        cMagneticWnd::instance().AddWindow(this, parent->window());
    }
}

void frmChatRecord::buildControls() {
    // Every control at its design place; the Tags keep the distances to the right and bottom
    // edges when the window is resized (its width always follows the chat window's).
    resize(kDesignWidthPx, kDesignHeightPx);
    XPContainer1 = new XPContainer(this);
    XPContainer1->setObjectName(QStringLiteral("XPContainer1"));
    XPContainer1->setCaption(QStringLiteral("聊天记录"));
    XPContainer1->setGeometry(0, 0, kDesignWidthPx, kDesignHeightPx);
    XPContainer1->setProperty("Tag", "STRETCHALL");

    RichTextBox1 = new QTextEdit(XPContainer1);
    RichTextBox1->setObjectName(QStringLiteral("RichTextBox1"));
    RichTextBox1->setReadOnly(true);
    RichTextBox1->setAcceptRichText(false);
    Combo1 = new QComboBox(XPContainer1);
    Combo1->setObjectName(QStringLiteral("Combo1"));
    Combo1->setEditable(true);
    Combo1->setInsertPolicy(QComboBox::NoInsert);
    Label1 = new QLabel(QStringLiteral("第1页"), XPContainer1);
    Label1->setObjectName(QStringLiteral("Label1"));
    const QString captions[2] = {QStringLiteral("上一页   "), QStringLiteral("下一页   ")};
    for (int i = 0; i < 2; ++i) {
        lvButtons_H1[i] = new lvButtons_H(captions[i], XPContainer1);
        lvButtons_H1[i]->setObjectName(QStringLiteral("lvButtons_H1_%1").arg(i));
        lookSecondary(*lvButtons_H1[i]);
    }

    const int row = std::max(kRowPx, Combo1->sizeHint().height());
    const int rowTop = kDesignHeightPx - kMarginPx - row;
    const int paneTop = XPContainer1->headerHeight() + kMarginPx;
    RichTextBox1->setGeometry(kMarginPx, paneTop, kDesignWidthPx - 2 * kMarginPx,
                              rowTop - kMarginPx - paneTop);
    RichTextBox1->setProperty("Tag", "STRETCHALL");
    Combo1->setGeometry(kMarginPx, rowTop, kComboPx, row);
    Combo1->setProperty("Tag", "MOVEV");
    int right = kDesignWidthPx - kMarginPx;
    for (int i = 1; i >= 0; --i) {
        right -= kPageButtonPx;
        lvButtons_H1[i]->setGeometry(right, rowTop, kPageButtonPx, row);
        lvButtons_H1[i]->setProperty("Tag", "MOVEALL");
        right -= kMarginPx;
    }
    Label1->setGeometry(right - kLabelPx, rowTop, kLabelPx, row);
    Label1->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    Label1->setProperty("Tag", "MOVEALL");

    Image1 = new QLabel(XPContainer1);
    Image1->setObjectName(QStringLiteral("Image1"));
    Image1->setPixmap(stripMark(true));
    Image1->setCursor(Qt::PointingHandCursor);
    Image1->setToolTip(QStringLiteral("关闭"));
    Image2 = new QLabel(XPContainer1);
    Image2->setObjectName(QStringLiteral("Image2"));
    Image2->setPixmap(stripMark(false));
    Image2->setCursor(Qt::SizeAllCursor);
    for (QLabel* image : {Image1, Image2}) {
        image->setFixedSize(kStripMarkPx, kStripMarkPx);
        image->installEventFilter(this);
        image->setProperty("Tag", "MOVEH");
    }
    placeStripImages();

    connect(Combo1, &QComboBox::activated, this, [this] { comboClick(); });
    connect(lvButtons_H1[0], &lvButtons_H::Click, this, [this] { stepPage(-1); });
    connect(lvButtons_H1[1], &lvButtons_H::Click, this, [this] { stepPage(+1); });
}

void frmChatRecord::placeStripImages() {
    const int strip = XPContainer1->headerHeight();
    const int top = (strip - kStripMarkPx) / 2;
    const int right = XPContainer1->width() - kStripMarkGapPx;
    Image1->move(right - kStripMarkPx, top);
    Image2->move(right - 2 * kStripMarkPx - kStripMarkGapPx, top);
}

void frmChatRecord::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    AutosizeControls(autosize_, this);
}

void frmChatRecord::openUnder(const QRect& chatFrame, const QString& contact, const QStringList& friends) {
    move(chatFrame.left(), chatFrame.top() + chatFrame.height());
    Combo1->setEditText(contact);
    show();
    raise();
    activateWindow();
    resize(chatFrame.width(), height());
    if (!Combo1->currentText().isEmpty() && Combo1->count() <= friends.size()) {
        // Items put into an empty list make the first one current; the name looked for stays.
        Combo1->addItems(friends);
        Combo1->setCurrentIndex(-1);
        Combo1->setEditText(contact);
    }
}

bool frmChatRecord::event(QEvent* event) {
    // Whichever comes first: a window manager that keeps new windows from taking the focus
    // never activates this one, and the page must not wait for that.
    if (event->type() == QEvent::Show || event->type() == QEvent::WindowActivate) firstFill();
    return QWidget::event(event);
}

bool frmChatRecord::eventFilter(QObject* watched, QEvent* event) {
    if (watched == Image1 && event->type() == QEvent::MouseButtonRelease) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton && Image1->rect().contains(mouse->position().toPoint())) {
            close();
            return true;
        }
    }
    const bool mouseEvent = event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseMove ||
                            event->type() == QEvent::MouseButtonRelease;
    if (watched == Image2 && mouseEvent) {
        // The window drags itself rather than leaving the move to the window manager, so that
        // every step can snap and carry what is glued to it.
        const auto* mouse = static_cast<QMouseEvent*>(event);
        cMagneticWnd& magnet = cMagneticWnd::instance();
        switch (event->type()) {
            case QEvent::MouseButtonPress:
                if (mouse->button() != Qt::LeftButton) break;
                magnet.beginMove(this, mouse->globalPosition().toPoint());
                return true;
            case QEvent::MouseMove:
                if (!(mouse->buttons() & Qt::LeftButton)) break;
                magnet.moveTo(this, mouse->globalPosition().toPoint());
                return true;
            case QEvent::MouseButtonRelease:
                if (mouse->button() != Qt::LeftButton) break;
                magnet.endMove(this);
                return true;
            default:
                break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

int frmChatRecord::countRecords(const QString& contact) {
    return record_.countRecords(gbk::fromUtf8(contact.toStdString()));
}

void frmChatRecord::showRecordPage(const QString& contact, int page) {
    const Bytes name = gbk::fromUtf8(contact.toStdString());
    matching_ = record_.countRecords(name);
    RichTextBox1->clear();
    for (const ShownRecord& shown : record_.showRecordPage(name, page)) writeRecord(shown);
    RichTextBox1->moveCursor(QTextCursor::Start);
}

void frmChatRecord::writeRecord(const ShownRecord& record) {
    QTextCursor cursor(RichTextBox1->document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(paneText(record.header), recordFormat(kHeaderColour));
    cursor.insertText(paneText(record.text), recordFormat(kTextColour));
}

void frmChatRecord::firstFill() {
    if (!pendingFirstFill_) return;
    showRecordPage(Combo1->currentText(), 0);
    Label1->setText(QStringLiteral("第 1 页"));
    pendingFirstFill_ = false;
    setPagesAfter(matching_ / kRecordPageSize);
}

void frmChatRecord::comboClick() {
    showRecordPage(Combo1->currentText(), 0);
    Label1->setText(QStringLiteral("第1页"));
    // The whole count, not the count of pages: the next button stays usable past the last
    // page, which then shows empty. The page index is not reset either.
    setPagesAfter(matching_);
}

void frmChatRecord::setPagesAfter(int count) {
    pagesAfter_ = count;
    lvButtons_H1[1]->setEnabled(count > 0);
    lvButtons_H1[0]->setEnabled(false);
}

void frmChatRecord::stepPage(int step) {
    page_ += step;
    pagesBefore_ += step;
    pagesAfter_ -= step;
    lvButtons_H1[step > 0 ? 0 : 1]->setEnabled(true);
    showRecordPage(Combo1->currentText(), page_);
    if ((step > 0 ? pagesAfter_ : pagesBefore_) == 0) lvButtons_H1[step > 0 ? 1 : 0]->setEnabled(false);
    Label1->setText(QStringLiteral("第 %1 页").arg(page_ + 1));
}

}  // namespace nq::app
