#include "app/login_frame.h"

#include "app/app_icon.h"
#include "app/button_looks.h"
#include "widgets/lv_buttons_h.h"

#include <QCheckBox>
#include <QFocusEvent>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>

namespace nq::app {
namespace {

constexpr int kAvatarPx = 84;
constexpr int kBoxHeightPx = 32;

QLabel* fieldLabel(const QString& text, QWidget* parent) {
    auto* l = new QLabel(text, parent);
    l->setObjectName("fieldLabel");
    QPalette pal = l->palette();
    pal.setColor(QPalette::WindowText, QColor(0x5a, 0x62, 0x70));
    l->setPalette(pal);
    return l;
}

}  // namespace

PasswordBox::PasswordBox(QWidget* parent) : QLineEdit(parent) {
    setEchoMode(QLineEdit::Password);
}

void PasswordBox::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    // A mouse press that gave the focus would place the caret and drop the selection right
    // after this handler; selecting once the press is over keeps the whole text selected.
    if (event->reason() == Qt::MouseFocusReason)
        QTimer::singleShot(0, this, [this] { selectAll(); });
    else
        selectAll();
}

LoginFrame::LoginFrame(QWidget* parent) : XPContainer(parent) {
    setObjectName("loginFrame");
    setStyle(HeaderAndBorder);
    setCaption("用户登录");
    QPalette pal = palette();
    pal.setColor(QPalette::Base, Qt::white);
    pal.setColor(QPalette::Highlight, QColor(0x2f, 0x80, 0xed));
    pal.setColor(QPalette::WindowText, QColor(0x3c, 0x43, 0x50));
    setPalette(pal);

    txtName = new QLineEdit(this);
    txtName->setObjectName("txtName");
    txtName->setPlaceholderText("用户名");
    txtPassword = new PasswordBox(this);
    txtPassword->setObjectName("txtPassword");
    txtPassword->setPlaceholderText("密码");
    txtName->setMinimumHeight(kBoxHeightPx);
    txtPassword->setMinimumHeight(kBoxHeightPx);
    txtName->setTextMargins(4, 0, 4, 0);
    txtPassword->setTextMargins(4, 0, 4, 0);

    cb_remPwd = new QCheckBox("记住密码", this);
    cb_remPwd->setObjectName("cb_remPwd");
    cb_autoRun = new QCheckBox("自动登录", this);
    cb_autoRun->setObjectName("cb_autoRun");

    lbInfo = new QLabel(this);
    lbInfo->setObjectName("lbInfo");
    lbInfo->setWordWrap(true);
    lbInfo->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    // Two lines are reserved so that a message does not make the buttons jump.
    lbInfo->setMinimumHeight(lbInfo->fontMetrics().lineSpacing() * 2 + 4);

    com_login = new lvButtons_H("登录", this);
    com_login->setObjectName("com_login");
    lookPrimary(*com_login);
    com_cancle = new lvButtons_H("取消", this);
    com_cancle->setObjectName("com_cancle");
    lookSecondary(*com_cancle);
    for (lvButtons_H* b : {com_login, com_cancle}) b->setFixedHeight(kBoxHeightPx + 2);

    auto* form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setHorizontalSpacing(10);
    form->setVerticalSpacing(12);
    form->addRow(fieldLabel("帐号", this), txtName);
    form->addRow(fieldLabel("密码", this), txtPassword);

    auto* checks = new QHBoxLayout;
    checks->addWidget(cb_remPwd);
    checks->addStretch();
    checks->addWidget(cb_autoRun);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(10);
    buttons->addWidget(com_login, 2);
    buttons->addWidget(com_cancle, 1);

    auto* avatar = new QLabel(this);
    avatar->setObjectName("avatar");
    avatar->setPixmap(paintLoginAvatar(kAvatarPx));
    avatar->setAlignment(Qt::AlignCenter);

    auto* col = new QVBoxLayout(this);
    col->setContentsMargins(28, 18, 28, 18);
    col->setSpacing(14);
    col->addStretch(1);
    col->addWidget(avatar);
    col->addSpacing(10);
    col->addLayout(form);
    col->addLayout(checks);
    col->addSpacing(6);
    col->addLayout(buttons);
    col->addWidget(lbInfo);
    col->addStretch(2);

    // What follows the window's width once the main window's Tags take over from the layout.
    for (QWidget* w :
         {static_cast<QWidget*>(txtName), static_cast<QWidget*>(txtPassword),
          static_cast<QWidget*>(com_login), static_cast<QWidget*>(lbInfo), static_cast<QWidget*>(avatar)})
        w->setProperty("Tag", "STRETCHH");
    cb_autoRun->setProperty("Tag", "MOVEH");
    com_cancle->setProperty("Tag", "MOVEH");

    setTabOrder(txtName, txtPassword);
    setTabOrder(txtPassword, cb_remPwd);
    setTabOrder(cb_remPwd, cb_autoRun);
    setTabOrder(cb_autoRun, com_login);
    setTabOrder(com_login, com_cancle);
    setInfo({}, false);
}

void LoginFrame::setInputsEnabled(bool enabled) {
    for (QLineEdit* box : {txtName, static_cast<QLineEdit*>(txtPassword)}) {
        box->setEnabled(enabled);
        QPalette pal = box->palette();
        pal.setColor(QPalette::Active, QPalette::Text, enabled ? Qt::black : QColor(0x9a, 0xa2, 0xad));
        pal.setColor(QPalette::Inactive, QPalette::Text, enabled ? Qt::black : QColor(0x9a, 0xa2, 0xad));
        pal.setColor(QPalette::Base, Qt::white);
        box->setPalette(pal);
    }
}

void LoginFrame::setInfo(const QString& text, bool red) {
    lbInfo->setText(text);
    QPalette pal = lbInfo->palette();
    pal.setColor(QPalette::WindowText, red ? QColor(Qt::red) : QColor(Qt::black));
    lbInfo->setPalette(pal);
}

}  // namespace nq::app
