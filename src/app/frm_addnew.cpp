#include "app/frm_addnew.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <limits>

#include "app/button_looks.h"
#include "contacts/contacts.h"
#include "session/session.h"
#include "widgets/image_list.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/xp_container.h"

namespace nq::app {

namespace {

// Pixels of the window's design.
constexpr int kDesignWidthPx = 460;
constexpr int kDesignHeightPx = 340;
constexpr int kIconPx = 24;
// A profile asked for from a result list names an account.
constexpr int kProfileByAccount = 3;

QString u(const char* text) {
    return QString::fromUtf8(text);
}
QString fromGbk(const Bytes& text) {
    return QString::fromStdString(gbk::toUtf8(text));
}
Bytes toGbk(const QString& text) {
    return gbk::fromUtf8(text.toStdString());
}

// The captions of Option1..3 and of lbType for the first and third option, by job.
struct JobLabels {
    const char* options[3];
    const char* typeFirst;
    const char* typeThird;
};
constexpr JobLabels kPersonLabels{{"使用用户名", "看看谁在线上", "使用昵称"}, "用户名：", "昵称："};
constexpr JobLabels kGroupLabels{{"使用群名称", "查看所有群", "使用群号码"}, "群名称：", "群号码："};

// The "next" button's captions carry trailing spaces that pad the face to the design's width.
constexpr const char* kNextCaption = "下一步   ";
constexpr const char* kAddFriendCaption = "加为好友     ";
constexpr const char* kListedFriendCaption = "加为好友    ";
constexpr const char* kListedBlacklistCaption = "加到黑名单      ";
constexpr const char* kBlacklistCaption = "加为黑名单     ";
constexpr const char* kGroupCaption = "添加   ";
constexpr const char* kNothingFound = "没有相关的记录，请您检查输入是否有误！";

// A page of rows first..last, as 16-bit arithmetic allows: past its end nothing is asked.
bool pageFits(int16_t page) {
    return (page + 1) * Search::kPageRows <= std::numeric_limits<int16_t>::max();
}

}  // namespace

frmAddnew::frmAddnew(Session& session, Contacts& contacts, Search& search, const ImageList* heads,
                     QWidget* parent)
    : QWidget(parent, Qt::Window), session_(session), contacts_(contacts), search_(search), heads_(heads) {
    setObjectName("frmAddnew");
    // Closing unloads: the next opening starts with fresh counters.
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(u(kFriendJob));
    buildControls();
    connectReplies();
}

void frmAddnew::buildControls() {
    resize(kDesignWidthPx, kDesignHeightPx);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* back = new XPContainer(this);
    back->setStyle(XPContainer::Plain);
    outer->addWidget(back);

    auto* col = new QVBoxLayout(back);
    col->setContentsMargins(10, 10, 10, 10);
    col->setSpacing(8);
    lbInfo = new QLabel(u("请选择查找方式，然后单击“下一步”。"), back);
    lbInfo->setObjectName("lbInfo");
    lbInfo->setWordWrap(true);
    col->addWidget(lbInfo);

    // The three panels share one place; the one on top is the step's.
    auto* stack = new QGridLayout;
    col->addLayout(stack, 1);
    lstResult = new QTreeWidget(back);
    lstResult->setObjectName("lstResult");
    lstResult->setRootIsDecorated(false);
    lstResult->setIconSize(QSize(kIconPx, kIconPx));
    lstResult->setAllColumnsShowFocus(true);
    lstResult->header()->setSectionsMovable(false);
    stack->addWidget(lstResult, 0, 0);

    mainframe = new XPContainer(back);
    mainframe->setObjectName("mainframe");
    mainframe->setStyle(XPContainer::HeaderAndBorder);
    mainframe->setCaption(u("查找方式"));
    auto* form = new QVBoxLayout(mainframe);
    form->setContentsMargins(16, 12, 16, 12);
    form->setSpacing(8);
    Option1 = new QRadioButton(u(kPersonLabels.options[0]), mainframe);
    Option2 = new QRadioButton(u(kPersonLabels.options[1]), mainframe);
    Option3 = new QRadioButton(u(kPersonLabels.options[2]), mainframe);
    int index = 1;
    for (QRadioButton* o : {Option1, Option2, Option3}) {
        o->setObjectName(QString("Option%1").arg(index));
        form->addWidget(o);
        connect(o, &QRadioButton::clicked, this, [this, index] { optionClicked(index); });
        ++index;
    }
    Option1->setChecked(true);
    auto* typeRow = new QHBoxLayout;
    lbType = new QLabel(u(kPersonLabels.typeFirst), mainframe);
    lbType->setObjectName("lbType");
    txtName = new QLineEdit(mainframe);
    txtName->setObjectName("txtName");
    typeRow->addWidget(lbType);
    typeRow->addWidget(txtName, 1);
    form->addSpacing(6);
    form->addLayout(typeRow);
    form->addStretch(1);
    stack->addWidget(mainframe, 0, 0);

    XPContainer1 = new XPContainer(back);
    XPContainer1->setObjectName("XPContainer1");
    XPContainer1->setCaption(u("请输入验证信息"));
    auto* panel = new QVBoxLayout(XPContainer1);
    panel->setContentsMargins(16, 12, 16, 12);
    auto* hint = new QLabel(u("群的创建者同意后您才能加入该群，请写上您的验证信息："), XPContainer1);
    hint->setWordWrap(true);
    panel->addWidget(hint);
    Text1 = new QLineEdit(XPContainer1);
    Text1->setObjectName("Text1");
    Text1->installEventFilter(this);
    connect(Text1, &QLineEdit::textChanged, this, &frmAddnew::onText1Changed);
    panel->addWidget(Text1);
    auto* panelRow = new QHBoxLayout;
    panelRow->addWidget(new QLabel(u("还可输入字数："), XPContainer1));
    Label3 = new QLabel(QString::number(kVerifyLimit), XPContainer1);
    Label3->setObjectName("Label3");
    panelRow->addWidget(Label3);
    panelRow->addStretch(1);
    comSend = new lvButtons_H(u("发送"), XPContainer1);
    comSend->setObjectName("comSend");
    lookPrimary(*comSend);
    comClose = new lvButtons_H(u("取消"), XPContainer1);
    comClose->setObjectName("comClose");
    lookSecondary(*comClose);
    for (lvButtons_H* b : {comSend, comClose}) {
        b->setFixedSize(72, 26);
        panelRow->addWidget(b);
    }
    panel->addLayout(panelRow);
    panel->addStretch(1);
    stack->addWidget(XPContainer1, 0, 0);
    XPContainer1->hide();
    connect(comSend, &lvButtons_H::Click, this, &frmAddnew::comSendClick);
    connect(comClose, &lvButtons_H::Click, this, &frmAddnew::comCloseClick);

    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    comDetail = new lvButtons_H(u("详细资料"), back);
    comDetail->setObjectName("comDetail");
    comMore = new lvButtons_H(u("更多"), back);
    comMore->setObjectName("comMore");
    comMore->setEnabled(false);
    connect(comMore, &lvButtons_H::Click, this, &frmAddnew::comMoreClick);
    const char* captions[] = {"上一步", kNextCaption, "关闭"};
    for (int i = 0; i < 3; ++i) {
        comAdd[static_cast<size_t>(i)] = new lvButtons_H(u(captions[i]), back);
        comAdd[static_cast<size_t>(i)]->setObjectName(QString("comAdd(%1)").arg(i));
        connect(comAdd[static_cast<size_t>(i)], &lvButtons_H::Click, this, [this, i] { comAddClick(i); });
    }
    for (lvButtons_H* b : {comDetail, comMore, comAdd[0], comAdd[2]}) lookSecondary(*b);
    lookPrimary(*comAdd[1]);
    row->addWidget(comDetail);
    row->addWidget(comMore);
    row->addStretch(1);
    for (lvButtons_H* b : comAdd) row->addWidget(b);
    for (lvButtons_H* b : {comDetail, comMore, comAdd[0], comAdd[1], comAdd[2]}) b->setFixedHeight(26);
    for (lvButtons_H* b : {comDetail, comMore, comAdd[0], comAdd[2]}) b->setMinimumWidth(70);
    comAdd[1]->setMinimumWidth(96);
    col->addLayout(row);
    comAdd[0]->hide();

    connect(lstResult, &QTreeWidget::itemDoubleClicked, this, &frmAddnew::rowDoubleClicked);
}

void frmAddnew::connectReplies() {
    connect(&search_, &Search::personFound, this, &frmAddnew::onPersonFound);
    connect(&search_, &Search::personNotFound, this, &frmAddnew::onPersonNotFound);
    connect(&search_, &Search::onlinePage, this, &frmAddnew::onOnlinePage);
    connect(&search_, &Search::groupsFound, this, &frmAddnew::onGroupsFound);
    connect(&search_, &Search::groupsNotFound, this, &frmAddnew::onGroupsNotFound);
    connect(&contacts_, &Contacts::addFriendAnswered, this, [this] { comAdd[1]->setEnabled(true); });
}

void frmAddnew::openAs(const QString& caption, bool optionCaptions) {
    tag_.clear();
    show();
    raise();
    activateWindow();
    setWindowTitle(caption);
    if (!optionCaptions) return;
    const bool group = isJob(kGroupJob);
    const JobLabels& labels = group ? kGroupLabels : kPersonLabels;
    Option1->setText(u(labels.options[0]));
    Option2->setText(u(labels.options[1]));
    Option3->setText(u(labels.options[2]));
    // The group job's box is first labelled with its option's caption.
    if (group) lbType->setText(u(kGroupLabels.options[0]));
}

void frmAddnew::searchFromMain(const Bytes& text, bool byName) {
    show();
    raise();
    setWindowTitle(u(kFriendJob));
    mainframe->hide();
    comAdd[0]->show();
    comAdd[1]->setCaption(u(kListedFriendCaption));
    comAdd[0]->setEnabled(false);
    comAdd[1]->setEnabled(false);
    search_.findPerson(kind::kFindPerson, !byName, text);
    setTag(kFindingFriend);
}

void frmAddnew::box(const char* text, bool stopIcon) {
    session_.services().messageBox(text, Session::kAppTitle, BoxButtons::Ok,
                                   stopIcon ? BoxIcon::Critical : BoxIcon::None);
}

// ---- step one ----

void frmAddnew::optionClicked(int index) {
    const JobLabels& labels = isJob(kGroupJob) ? kGroupLabels : kPersonLabels;
    if (index == 1) lbType->setText(u(labels.typeFirst));
    if (index == 3) lbType->setText(u(labels.typeThird));
    if (index == 2) listFirstPage();
}

void frmAddnew::listFirstPage() {
    const bool group = isJob(kGroupJob);
    search_.listPage(group ? kind::kGroupPage : kind::kOnlinePage, 0);
    comAdd[0]->show();
    if (group) {
        comAdd[1]->setCaption(u(kGroupCaption));
        lbInfo->setText(u("正在获取群列表，请您稍候。"));
        setTag(kGroups);
        groupPage_ = 1;
    } else {
        userPage_ = 1;
        comAdd[1]->setCaption(u(isJob(kFriendJob) ? kListedFriendCaption : kListedBlacklistCaption));
        lbInfo->setText(u("正在获取在线用户列表，请您稍候。"));
        // Either person job: a row of the online list is added as a friend.
        setTag(kAddsFriend);
    }
    comAdd[0]->setEnabled(false);
    comAdd[1]->setEnabled(false);
    mainframe->hide();
}

void frmAddnew::startSearch() {
    if (!isJob(kGroupJob) && txtName->text().isEmpty()) {
        box("请输入查找信息！", true);
        return;
    }
    mainframe->hide();
    comAdd[0]->show();
    const Bytes text = toGbk(txtName->text());
    if (isJob(kFriendJob)) {
        comAdd[1]->setCaption(u(kAddFriendCaption));
        comAdd[0]->setEnabled(false);
        comAdd[1]->setEnabled(false);
        search_.findPerson(kind::kFindPerson, Option3->isChecked(), text);
        setTag(kFindingFriend);
    } else if (isJob(kBlacklistJob)) {
        comAdd[1]->setCaption(u(kBlacklistCaption));
        comAdd[0]->setEnabled(false);
        comAdd[1]->setEnabled(false);
        search_.findPerson(kind::kFindForBlacklist, Option3->isChecked(), text);
        setTag(kFindingForBlacklist);
    } else {
        comAdd[1]->setCaption(u(kGroupCaption));
        comAdd[1]->setEnabled(false);
        search_.findGroups(Option1->isChecked(), text);
        setTag(kGroups);
    }
}

// ---- the buttons ----

void frmAddnew::comAddClick(int index) {
    if (index == 2) {
        close();
        return;
    }
    if (index == 0) {
        mainframe->show();
        mainframe->raise();
        tag_.clear();
        comAdd[0]->hide();
        comAdd[1]->setCaption(u(kNextCaption));
        comAdd[1]->setEnabled(true);
        Option1->setChecked(true);
        lbType->setText(u("用户名"));
        lstResult->clear();
        return;
    }
    if (tag_.isEmpty()) {
        startSearch();
    } else if (tag_ == u(kAddsFriend)) {
        addSelected(false);
    } else if (tag_ == u(kAddsToBlacklist)) {
        addSelected(true);
    } else if (tag_ == u(kGroups)) {
        showPanel(true);
    }
}

QTreeWidgetItem* frmAddnew::selectedRow() const {
    return lstResult->currentItem();
}

void frmAddnew::addSelected(bool toBlacklist) {
    const QTreeWidgetItem* row = selectedRow();
    if (!row) return;
    const Bytes account = toGbk(row->text(0));
    if (account == session_.myName) {
        box("不能添加自己！");
        return;
    }
    if (toBlacklist) {
        search_.addToBlacklist(account);
    } else {
        if (contacts_.MyList(Contacts::kFriends).find(toGbk(row->text(1))) != 0) {
            box("该用户已是您的好友！");
            return;
        }
        search_.addFriend(account);
    }
    comAdd[1]->setEnabled(false);
}

void frmAddnew::showPanel(bool on) {
    XPContainer1->setVisible(on);
    if (on) {
        XPContainer1->raise();
        Text1->clear();
        Text1->setFocus();
    }
    lstResult->setVisible(!on);
    for (lvButtons_H* b : comAdd) b->setVisible(!on);
    comMore->setVisible(!on);
}

void frmAddnew::comSendClick() {
    if (const QTreeWidgetItem* row = selectedRow())
        search_.askToJoin(toGbk(row->text(2)), toGbk(row->text(1)), toGbk(Text1->text()));
    showPanel(false);
}

void frmAddnew::comCloseClick() {
    showPanel(false);
}

void frmAddnew::comMoreClick() {
    int16_t* counter = nullptr;
    FrameKind kind{};
    if (isJob(kFriendJob)) {
        counter = &userPage_;
        kind = kind::kOnlinePage;
    } else if (isJob(kGroupJob)) {
        counter = &groupPage_;
        kind = kind::kGroupPage;
    }
    if (!counter || !pageFits(*counter)) return;
    search_.listPage(kind, *counter);
    ++*counter;
    comMore->setEnabled(false);
}

void frmAddnew::rowDoubleClicked() {
    const QTreeWidgetItem* row = selectedRow();
    if (!isJob(kGroupJob)) {
        if (lstResult->topLevelItemCount() > 0 && row && showProfile)
            showProfile(toGbk(row->text(0)), kProfileByAccount);
        return;
    }
    if (!row) return;
    const Bytes group = toGbk(row->text(1));
    if (!search_.groupCardKnown(group)) {
        search_.requestGroupCard(group);
    } else if (showGroupCard) {
        showGroupCard(group);
    }
}

void frmAddnew::onText1Changed() {
    if (Text1->text().size() > kVerifyLimit) {
        Text1->setText(Text1->text().left(kVerifyLimit));
        return;  // the change this makes sets the counter
    }
    Label3->setText(QString::number(kVerifyLimit - Text1->text().size()));
}

bool frmAddnew::eventFilter(QObject* watched, QEvent* event) {
    if (watched == Text1 && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (Text1->text().size() >= kVerifyLimit && key->key() != Qt::Key_Backspace) return true;
    }
    return QWidget::eventFilter(watched, event);
}

// ---- the replies ----

void frmAddnew::resetColumns(const std::vector<const char*>& headers) {
    lstResult->clear();
    QStringList labels;
    for (const char* h : headers) labels << u(h);
    lstResult->setColumnCount(static_cast<int>(labels.size()));
    lstResult->setHeaderLabels(labels);
}

void frmAddnew::addRow(const FoundRow& row) {
    auto* item = new QTreeWidgetItem(lstResult);
    item->setData(0, Qt::UserRole, QByteArray::fromStdString(row.key));
    item->setText(0, fromGbk(row.text));
    item->setText(1, fromGbk(row.second));
    if (lstResult->columnCount() > 2) item->setText(2, fromGbk(row.third));
    if (heads_) item->setIcon(0, QIcon(heads_->pixmap(row.icon)));
    // A list view that gets rows has its first one chosen.
    if (!lstResult->currentItem()) lstResult->setCurrentItem(item);
}

void frmAddnew::onPersonFound(FrameKind kind, const FoundRow& row) {
    const bool friendJob = kind == kind::kFindPerson;
    if (tag_ != u(friendJob ? kFindingFriend : kFindingForBlacklist)) return;
    resetColumns({"用户名", "昵称"});
    if (!friendJob) comAdd[1]->setCaption(u(kBlacklistCaption));
    comAdd[1]->setEnabled(true);
    comAdd[0]->setEnabled(true);
    lbInfo->setText(friendJob ? u("请选择您要添加的用户，单击“下一步”按钮添加为好友")
                              : u("请选择您要添加的用户，单击“下一步”按钮添加为黑名单"));
    addRow(row);
    setTag(friendJob ? kAddsFriend : kAddsToBlacklist);
}

void frmAddnew::onPersonNotFound() {
    if (tag_ != u(kFindingFriend)) return;
    comAdd[0]->setEnabled(true);
    box(kNothingFound);
}

void frmAddnew::onOnlinePage(const std::vector<FoundRow>& rows, bool full) {
    comMore->setEnabled(full);
    resetColumns({"用户名", "昵称"});
    lbInfo->setText(u("请选择您要添加的用户，单击“加为好友”按钮添加为好友"));
    for (const FoundRow& r : rows) addRow(r);
    comAdd[0]->setEnabled(true);
    comAdd[1]->setEnabled(true);
}

void frmAddnew::onGroupsFound(FrameKind kind, const std::vector<FoundRow>& rows, bool full) {
    if (kind == kind::kGroupPage) {
        comMore->setEnabled(full);
    } else {
        comAdd[1]->setEnabled(true);
    }
    resetColumns({"群号码", "群名称", "创建者"});
    lbInfo->setText(u("请选择您要添加的群，单击“添加”按钮添加"));
    for (const FoundRow& r : rows) addRow(r);
    comAdd[0]->setEnabled(true);
    comAdd[1]->setEnabled(true);
}

void frmAddnew::onGroupsNotFound(FrameKind kind) {
    if (kind == kind::kGroupPage) comAdd[0]->setEnabled(true);
    box(kNothingFound);
}

}  // namespace nq::app
