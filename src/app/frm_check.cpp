#include "app/frm_check.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "app/button_looks.h"
#include "contacts/group_actions.h"
#include "conversation/incoming_queue.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/xp_container.h"

namespace nq::app {

namespace {

constexpr int kWidthPx = 380;
constexpr int kHeightPx = 260;
const QString kAsks = QStringLiteral("请求加入群");
const QString kAsksWithColon = QStringLiteral("请求加入群：");
const QString kTextFollows = QStringLiteral("其验证信息");
const QString kTextFollowsWithColon = QStringLiteral(",其验证信息为：");

QString qs(std::string_view gbkText) {
    return QString::fromStdString(gbk::toUtf8(gbkText));
}

Bytes toGbk(const QString& text) {
    return gbk::fromUtf8(text.toStdString());
}

}  // namespace

frmCheck::frmCheck(IncomingQueue& queue, GroupActions& groups, QWidget* parent)
    : QWidget(parent, Qt::Window), queue_(queue), groups_(groups) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(QStringLiteral("请求验证"));
    build();
    Timer1.setInterval(kFillMs);
    connect(&Timer1, &QTimer::timeout, this, &frmCheck::Timer1Timer);
    Timer1.start();
}

void frmCheck::build() {
    resize(kWidthPx, kHeightPx);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    XPContainer1 = new XPContainer(this);
    XPContainer1->setCaption(QStringLiteral("请求验证"));
    outer->addWidget(XPContainer1);

    auto* grid = new QVBoxLayout(XPContainer1);
    grid->setContentsMargins(12, 30, 12, 12);
    grid->setSpacing(6);
    Label1 = new QLabel(QStringLiteral("xxx请求加入群:xxx,其验证信息为"), XPContainer1);
    Label1->setObjectName(QStringLiteral("Label1"));
    Label1->setWordWrap(true);
    Text1 = new QLineEdit(XPContainer1);
    Text1->setObjectName(QStringLiteral("Text1"));
    Text1->setReadOnly(true);
    Label2 =
        new QLabel(QStringLiteral("如果您不同意，则请在点击\"拒绝\"按钮前填写拒绝信息（可以不填）30字以内"),
                   XPContainer1);
    Label2->setObjectName(QStringLiteral("Label2"));
    Label2->setWordWrap(true);
    Text2 = new QLineEdit(XPContainer1);
    Text2->setObjectName(QStringLiteral("Text2"));
    // Typing past the limit is refused and a longer paste is cut, backspace always works.
    Text2->setMaxLength(kReasonChars);
    Label3 = new QLabel(QString::number(kReasonChars), XPContainer1);
    Label3->setObjectName(QStringLiteral("Label3"));
    connect(Text2, &QLineEdit::textChanged, this,
            [this](const QString& t) { Label3->setText(QString::number(kReasonChars - t.size())); });
    grid->addWidget(Label1);
    grid->addWidget(Text1);
    grid->addWidget(Label2);
    auto* reasonRow = new QHBoxLayout;
    reasonRow->addWidget(Text2, 1);
    reasonRow->addWidget(Label3);
    grid->addLayout(reasonRow);
    grid->addStretch(1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    comOK = new lvButtons_H(XPContainer1);
    comOK->setObjectName(QStringLiteral("comOK"));
    comOK->setCaption(QStringLiteral("同意"));
    lookPrimary(*comOK);
    comRef = new lvButtons_H(XPContainer1);
    comRef->setObjectName(QStringLiteral("comRef"));
    comRef->setCaption(QStringLiteral("拒绝"));
    lookSecondary(*comRef);
    for (lvButtons_H* b : {comOK, comRef}) {
        b->setFixedSize(80, 26);
        buttons->addWidget(b);
    }
    grid->addLayout(buttons);
    connect(comOK, &lvButtons_H::Click, this, &frmCheck::comOKClick);
    connect(comRef, &lvButtons_H::Click, this, &frmCheck::comRefClick);
}

void frmCheck::Timer1Timer() {
    const int last = queue_.lastWritten();
    for (int i = queue_.readIndex; i <= last; ++i) {
        IncomingQueue::Slot& s = queue_.at(i);
        if (s.kind != IncomingQueue::kJoinRequest) continue;
        Label1->setText(qs(s.sender) + kAsksWithColon + qs(s.receiver) + kTextFollowsWithColon);
        Text1->setText(qs(s.text));
        s.kind = IncomingQueue::kFree;
        ++queue_.readIndex;
        Timer1.stop();
        return;
    }
}

Bytes frmCheck::requester() const {
    const QString label = Label1->text();
    const qsizetype at = label.indexOf(kAsks);
    return at < 0 ? Bytes() : toGbk(label.left(at));
}

// From the group's first character (past the words and their colon) to the comma before the
// words that introduce the text; the first match of those words counts.
Bytes frmCheck::group() const {
    const QString label = Label1->text();
    const qsizetype asks = label.indexOf(kAsks);
    const qsizetype follows = label.indexOf(kTextFollows);
    if (asks < 0 || follows < 0) return {};
    const qsizetype from = asks + kAsksWithColon.size();
    return toGbk(label.mid(from, std::max<qsizetype>(0, follows - 1 - from)));
}

Bytes frmCheck::reason() const {
    return toGbk(Text2->text());
}

void frmCheck::comOKClick() {
    groups_.agree(requester(), group());
    answered_ = true;
    close();
}

void frmCheck::comRefClick() {
    groups_.refuse(requester(), group(), reason());
    answered_ = true;
    close();
}

void frmCheck::closeEvent(QCloseEvent* event) {
    if (!answered_) {
        answered_ = true;
        groups_.closedWithoutAnswer(requester(), reason());
    }
    QWidget::closeEvent(event);
}

}  // namespace nq::app
