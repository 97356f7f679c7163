#include "app/frm_vlg.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QTextEdit>
#include <QVBoxLayout>

#include "app/button_looks.h"
#include "contacts/group_actions.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/xp_container.h"

namespace nq::app {

namespace {

constexpr int kWidthPx = 400;
constexpr int kHeightPx = 300;
constexpr int kButtonWidthPx = 80;
constexpr int kButtonHeightPx = 26;

QString qs(std::string_view gbkText) {
    return QString::fromStdString(gbk::toUtf8(gbkText));
}

Bytes toGbk(const QString& text) {
    return gbk::fromUtf8(text.toStdString());
}

}  // namespace

frmVlg::frmVlg(GroupActions& groups, const Bytes& ownName, QWidget* parent)
    : QWidget(parent, Qt::Window), groups_(groups) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(QStringLiteral("建立群"));
    build();
    txtUname->setText(qs(ownName));
}

void frmVlg::build() {
    resize(kWidthPx, kHeightPx);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    XPContainer1 = new XPContainer(this);
    XPContainer1->setCaption(windowTitle());
    outer->addWidget(XPContainer1);

    auto* body = new QVBoxLayout(XPContainer1);
    body->setContentsMargins(12, 30, 12, 12);
    body->setSpacing(8);
    const auto label = [this](const char* name, const char* text) {
        auto* l = new QLabel(QString::fromUtf8(text), XPContainer1);
        l->setObjectName(QString::fromUtf8(name));
        return l;
    };
    lbvlg = label("lbvlg", "要创建一个群，您必须填写如下信息：");
    body->addWidget(lbvlg);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(6);
    lbUname = label("lbUname", "创建者：");
    txtUname = new QLineEdit(XPContainer1);
    txtUname->setObjectName(QStringLiteral("txtUname"));
    txtUname->setEnabled(false);
    grid->addWidget(lbUname, 0, 0);
    grid->addWidget(txtUname, 0, 1);

    lbVname = label("lbVname", "名  称：");
    txtVname = new QLineEdit(XPContainer1);
    txtVname->setObjectName(QStringLiteral("txtVname"));
    // A 25th character is refused, a longer paste cut; the counter shows what is left.
    txtVname->setMaxLength(kNameChars);
    lbEname = label("lbEname", "<--您想要为群所取的名字");
    lbNum = label("lbNum", "24");
    connect(txtVname, &QLineEdit::textChanged, this,
            [this](const QString& t) { lbNum->setText(QString::number(kNameChars - t.size())); });
    grid->addWidget(lbVname, 1, 0);
    grid->addWidget(txtVname, 1, 1);
    grid->addWidget(lbEname, 1, 2);
    lblimit = label("lblimit", "名称24个字以内");
    auto* limitRow = new QHBoxLayout;
    limitRow->addWidget(lblimit);
    limitRow->addWidget(lbNum);
    limitRow->addStretch(1);
    grid->addLayout(limitRow, 2, 1, 1, 2);

    lbVinfo = label("lbVinfo", "简  介：");
    lbVinfo->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    txtVinfo = new QTextEdit(XPContainer1);
    txtVinfo->setObjectName(QStringLiteral("txtVinfo"));
    txtVinfo->setAcceptRichText(false);
    grid->addWidget(lbVinfo, 3, 0);
    grid->addWidget(txtVinfo, 3, 1, 1, 2);
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(3, 1);
    body->addLayout(grid, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    comSubmit = new lvButtons_H(XPContainer1);
    comSubmit->setObjectName(QStringLiteral("comSubmit"));
    comSubmit->setCaption(QStringLiteral("创建  "));
    lookPrimary(*comSubmit);
    comClose = new lvButtons_H(XPContainer1);
    comClose->setObjectName(QStringLiteral("comClose"));
    comClose->setCaption(QStringLiteral("关闭  "));
    lookSecondary(*comClose);
    for (lvButtons_H* b : {comSubmit, comClose}) {
        b->setFixedSize(kButtonWidthPx, kButtonHeightPx);
        buttons->addWidget(b);
    }
    body->addLayout(buttons);
    connect(comSubmit, &lvButtons_H::Click, this, &frmVlg::comSubmitClick);
    connect(comClose, &lvButtons_H::Click, this, &QWidget::close);
}

// The submit button gets the caption that fits the viewer and is then hidden all the same.
void frmVlg::showCard(const GroupCard& card, const Bytes& ownName) {
    setWindowTitle(qs(card.name) + QStringLiteral("群资料"));
    XPContainer1->setCaption(windowTitle());
    for (QWidget* w : std::initializer_list<QWidget*>{lbvlg, lbEname, lblimit, lbNum}) w->hide();
    txtUname->setText(qs(card.creator));
    txtUname->setEnabled(false);
    txtVname->setText(qs(card.name));
    txtVinfo->setPlainText(qs(card.info));
    const bool own = card.creator == ownName;
    comSubmit->setCaption(own ? QStringLiteral("保存  ") : QStringLiteral("更新  "));
    txtVinfo->setEnabled(own);
    comSubmit->hide();
}

void frmVlg::comSubmitClick() {
    if (groups_.create(toGbk(txtVname->text()), toGbk(txtVinfo->toPlainText()))) close();
}

}  // namespace nq::app
