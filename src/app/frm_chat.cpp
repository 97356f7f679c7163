#include "app/frm_chat.h"

#include <QCloseEvent>
#include <QColorDialog>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QScreen>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStackedLayout>
#include <QTextEdit>
#include <QVBoxLayout>

#include "app/button_looks.h"
#include "app/chat_windows.h"
#include "app/frm_chat_record.h"
#include "contacts/contacts.h"
#include "conversation/chat_manager.h"
#include "desktop/mod_autosize.h"
#include "desktop/window_services.h"
#include "session/session.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "widgets/i_list.h"
#include "widgets/image_list.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/rich_text.h"
#include "widgets/twips.h"
#include "widgets/xp_container.h"

namespace nq::app {
namespace {

constexpr int kHeadPx = 96;  // the large heads under image/
constexpr int kFacePx = 28;
constexpr int kFaceCellPx = 30;
constexpr int kFacePickerColumns = 10;
// Rows the picker shows before it scrolls: the stock set of 48 fits without a scroll bar.
constexpr int kFacePickerRows = 5;
const char* const kToolCaptions[8] = {"字体  ", "大小  ", "颜色  ",       "表情  ",
                                      "",       "",       "聊天记录    ", "清屏  "};
// Index 2 is the file button: the file request sits behind it.
const char* const kSideCaptions[4] = {"视频  ", "语音  ", "传文件   ", "设置  "};
const int kSizes[] = {8, 9, 10, 12, 14, 16, 18, 20, 22, 24};

QString qs(const Bytes& gbk) {
    return QString::fromStdString(gbk::toUtf8(gbk));
}

QPixmap arrow(bool left) {
    QPixmap pm(12, 12);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setBrush(QColor(0x3c, 0x43, 0x50));
    p.setPen(Qt::NoPen);
    const QPolygonF tri = left ? QPolygonF({{8, 2}, {3, 6}, {8, 10}}) : QPolygonF({{4, 2}, {9, 6}, {4, 10}});
    p.drawPolygon(tri);
    return pm;
}

void lookTool(lvButtons_H& b) {
    lookTab(b);
    b.setMode(lvButtons_H::Command);
}

}  // namespace

frmChat::frmChat(ChatWindows& windows, std::optional<ChatMode> mode, const Bytes& name, QWidget* parent)
    : QWidget(parent, Qt::Window), chatMode(mode), windows_(windows) {
    setAttribute(Qt::WA_DeleteOnClose);
    build();
    lbFrd->setText(qs(name));
    setWindowTitle(qs(chatCaption(mode.value_or(ChatMode::PTP), name)));
    Form_Load();
}

frmChat::~frmChat() = default;

Bytes frmChat::lbFrdCaption() const {
    return gbk::fromUtf8(lbFrd->text().toStdString());
}
Bytes frmChat::caption() const {
    return gbk::fromUtf8(windowTitle().toStdString());
}

void frmChat::build() {
    setObjectName("frmChat");
    QPalette pal = palette();
    pal.setColor(QPalette::Window, QColor(0xf3, 0xf7, 0xfd));
    pal.setColor(QPalette::Base, Qt::white);
    setPalette(pal);

    topFrame = new XPContainer(this);
    topFrame->setStyle(XPContainer::Plain);
    topFrame->setBackLightColor(QColor(0x2f, 0x80, 0xed));
    topFrame->setBackDarkColor(QColor(0x1a, 0x5f, 0xc8));
    topFrame->setFixedHeight(44);
    lbFrd = new QLabel(topFrame);
    lbFrd->setObjectName("lbFrd");
    QFont big = lbFrd->font();
    big.setPointSizeF(big.pointSizeF() * 1.3);
    big.setBold(true);
    lbFrd->setFont(big);
    QPalette white = lbFrd->palette();
    white.setColor(QPalette::WindowText, Qt::white);
    lbFrd->setPalette(white);
    lbFrd->setCursor(Qt::PointingHandCursor);
    lbFrd->installEventFilter(this);
    auto* top = new QHBoxLayout(topFrame);
    top->setContentsMargins(14, 4, 8, 4);
    top->addWidget(lbFrd);
    top->addStretch();
    for (int i = 3; i >= 0; --i) {
        auto* b = new lvButtons_H(kSideCaptions[i], topFrame);
        b->setObjectName(QString("lvButtons_H1(%1)").arg(i));
        lookTool(*b);
        b->setForeColor(Qt::white);
        b->setEnabled(false);  // their features never came
        b->setProperty("Tag", "MOVEH");
        top->addWidget(b);
        lvButtons_H1[static_cast<size_t>(i)] = b;
    }
    connect(lvButtons_H1[kFileButton], &lvButtons_H::Click, this, &frmChat::chooseFileToSend);

    mainframe = new QWidget(this);
    revRtf = new RichText(mainframe);
    revRtf->setObjectName("revRtf");
    revRtf->setLocked(true);
    revRtf->viewport()->installEventFilter(this);
    revRtf->viewport()->setMouseTracking(true);
    sndRtf = new RichText(mainframe);
    sndRtf->setObjectName("sndRtf");
    sndRtf->setFixedHeight(96);
    sndRtf->installEventFilter(this);
    connect(sndRtf, &RichText::KeyDown, this, &frmChat::onKeyDown);
    connect(sndRtf, &RichText::KeyPress, this, &frmChat::onKeyPress);
    connect(sndRtf, &RichText::KeyUp, this, &frmChat::onKeyUp);
    connect(sndRtf, &RichText::Change, this, &frmChat::applyBoxStyle);
    connect(sndRtf, &RichText::MouseDown, this,
            [this](Qt::MouseButton button, Qt::KeyboardModifiers, QPoint) {
                closeDropDowns(true, true, true);
                if (button == Qt::RightButton) windows_.clearClipboardWithoutText();
            });

    auto* tools = new QWidget(mainframe);
    buildToolbar(tools);

    comClose = new lvButtons_H("关闭(&C)  ", mainframe);
    comClose->setObjectName("comClose");
    lookSecondary(*comClose);
    comSend = new lvButtons_H("发送(&S)  ", mainframe);
    comSend->setObjectName("comSend");
    lookPrimary(*comSend);
    for (lvButtons_H* b : {comClose, comSend}) b->setFixedSize(92, 28);
    connect(comClose, &lvButtons_H::Click, this, &QWidget::close);
    connect(comSend, &lvButtons_H::Click, this, &frmChat::comSendClick);
    lbObject = new QLabel("对", mainframe);
    cbHallMem = new QComboBox(mainframe);
    cbHallMem->setObjectName("cbHallMem");
    cbHallMem->setFixedWidth(100);
    const bool room = chatMode == ChatMode::MM;
    for (QWidget* w : {static_cast<QWidget*>(comClose), static_cast<QWidget*>(comSend),
                       static_cast<QWidget*>(lbObject), static_cast<QWidget*>(cbHallMem)})
        w->setProperty("Tag", "MOVEALL");

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addStretch();
    buttons->addWidget(comClose);
    buttons->addWidget(comSend);
    // The room's addressee stands beside the buttons; elsewhere they keep the right end.
    if (room) {
        buttons->addWidget(lbObject);
        buttons->addWidget(cbHallMem);
    }

    auto* left = new QVBoxLayout(mainframe);
    left->setContentsMargins(8, 8, 4, 8);
    left->setSpacing(4);
    left->addWidget(revRtf, 1);
    left->addWidget(tools);
    left->addWidget(sndRtf);
    left->addLayout(buttons);

    auto* side = new QWidget(this);
    side->setFixedWidth(kSidePanelPx);
    sidePanel_ = side;
    buildSidePanels(side);
    mainframe->setProperty("Tag", "STRETCHALL");
    revRtf->setProperty("Tag", "STRETCHALL");
    tools->setProperty("Tag", "STRETCHHMOVEV");
    sndRtf->setProperty("Tag", "STRETCHHMOVEV");
    topFrame->setProperty("Tag", "STRETCHH");
    side->setProperty("Tag", "STRETCHVMOVEH");

    auto* body = new QHBoxLayout;
    body->setContentsMargins(0, 0, 0, 0);
    body->setSpacing(0);
    body->addWidget(mainframe, 1);
    body->addWidget(side);
    auto* col = new QVBoxLayout(this);
    col->setContentsMargins(0, 0, 0, 0);
    col->setSpacing(0);
    col->addWidget(topFrame);
    col->addLayout(body, 1);

    // The drop-downs float over the history pane, above the toolbar.
    FontSel = new QComboBox(this);
    FontSel->setObjectName("FontSel");
    size = new QComboBox(this);
    size->setObjectName("size");
    ListView1 = new QListWidget(this);
    ListView1->setObjectName("ListView1");
    ListView1->setViewMode(QListView::IconMode);
    ListView1->setIconSize(QSize(kFacePx, kFacePx));
    ListView1->setGridSize(QSize(kFaceCellPx, kFaceCellPx));
    ListView1->setMovement(QListView::Static);
    ListView1->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    ListView1->hide();
    connect(ListView1, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { OnFaceListClicked(ListView1->row(item) + 1); });
    FontSel->setEditable(false);
    connect(FontSel, &QComboBox::activated, this, [this] {
        ReFreshTextInDown();
        FontSel->hide();
        sndRtf->setFocus();
    });
    connect(size, &QComboBox::activated, this, [this] {
        ReFreshTextInDown();
        size->hide();
        sndRtf->setFocus();
    });
    // A change by other means (the wheel, a program) restyles the box without closing the list.
    for (QComboBox* box : {FontSel, size})
        connect(box, &QComboBox::currentTextChanged, this, [this] { ReFreshTextInDown(); });

    Timer1.setInterval(kTimer1Ms);
    connect(&Timer1, &QTimer::timeout, this, &frmChat::deliverOne);

    // The layouts give the design places once; from then on the Tags alone move the controls.
    resize(kDesignWidthPx, kDesignHeightPx);
    freezeLayouts(this);
    tool(kWiden).setGeometry(tool(kNarrow).geometry());
    tool(kWiden).setVisible(false);
    lbObject->setVisible(room);
    cbHallMem->setVisible(room);
    showGroupPanel(false);
}

void frmChat::buildToolbar(QWidget* parent) {
    auto* row = new QHBoxLayout(parent);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(2);
    for (int i = 0; i < 8; ++i) {
        auto* b = new lvButtons_H(QString::fromUtf8(kToolCaptions[i]), parent);
        b->setObjectName(QString("lvButtons_H2(%1)").arg(i));
        lookTool(*b);
        if (i == kNarrow || i == kWiden) {
            b->setImage(arrow(i == kWiden));
            b->setImgSize(12);
            b->setFixedWidth(24);
            b->setToolTip(i == kNarrow ? "隐藏侧栏" : "显示侧栏");
        }
        if (i == kRecord) row->addStretch();
        if (i >= kRecord) b->setProperty("Tag", "MOVEH");
        if (i != kWiden) row->addWidget(b);
        connect(b, &lvButtons_H::Click, this, [this, i] { toolClicked(i); });
        lvButtons_H2[static_cast<size_t>(i)] = b;
    }
}

void frmChat::buildSidePanels(QWidget* side) {
    auto* margins = new QVBoxLayout(side);
    margins->setContentsMargins(4, 8, 8, 8);
    // The person's and the group's panels share one place; each follows the window's height.
    auto* parent = new QWidget(side);
    margins->addWidget(parent);
    auto* stack = new QStackedLayout(parent);
    stack->setStackingMode(QStackedLayout::StackAll);
    parent->setProperty("Tag", "STRETCHV");

    myFrame = new XPContainer(parent);
    myFrame->setObjectName("myFrame");
    myFrame->setStyle(XPContainer::BorderOnly);
    imgFriend = new QLabel(myFrame);
    imgMyself = new QLabel(myFrame);
    for (QLabel* img : {imgFriend, imgMyself}) {
        img->setFixedSize(kHeadPx, kHeadPx);
        img->setScaledContents(true);
        img->setAlignment(Qt::AlignCenter);
    }
    lbStyle = new QLabel("好友形象", myFrame);
    lbMyStyle = new QLabel("我的形象", myFrame);
    lbName = new QLabel("用户名：", myFrame);
    lbDname = new QLabel("昵  称：", myFrame);
    txtName = new QLineEdit(myFrame);
    txtDname = new QLineEdit(myFrame);
    for (QLineEdit* t : {txtName, txtDname}) {
        t->setReadOnly(true);
        t->setFrame(false);
    }
    auto* mf = new QVBoxLayout(myFrame);
    mf->setContentsMargins(8, 8, 8, 8);
    mf->setSpacing(3);
    mf->addWidget(lbStyle);
    mf->addWidget(imgFriend, 0, Qt::AlignHCenter);
    mf->addWidget(lbName);
    mf->addWidget(txtName);
    mf->addWidget(lbDname);
    mf->addWidget(txtDname);
    mf->addStretch();
    lbMyStyle->setProperty("Tag", "MOVEV");
    imgMyself->setProperty("Tag", "MOVEV");
    mf->addWidget(lbMyStyle);
    mf->addWidget(imgMyself, 0, Qt::AlignHCenter);

    vlgFrame = new XPContainer(parent);
    vlgFrame->setObjectName("vlgFrame");
    vlgFrame->setStyle(XPContainer::BorderOnly);
    Label1 = new QLabel("好友群简介", vlgFrame);
    txtVinfo = new QTextEdit(vlgFrame);
    txtVinfo->setReadOnly(true);
    txtVinfo->setFixedHeight(90);
    Label2 = new QLabel("成员列表", vlgFrame);
    IList1 = new IList(vlgFrame);
    IList1->setObjectName("IList1");
    IList1->setModel(&members_);
    IList1->setProperty("Tag", "STRETCHV");
    if (windows_.heads()) IList1->setImageList(windows_.heads());
    connect(IList1, &IList::Click, this, &frmChat::memberClicked);
    connect(IList1, &IList::DblClick, this, &frmChat::memberDoubleClicked);
    connect(IList1, &IList::mouseUp, this, [this](Qt::MouseButton button, Qt::KeyboardModifiers, QPoint at) {
        if (button == Qt::RightButton && members_.count() > 0 &&
            at.y() < IList1->ItemHeight() * members_.count()) {
            // The press has selected the row: the menu is about the member under the pointer.
            memberClicked();
            windows_.showMemberMenu(memberName_);
        }
    });
    auto* vf = new QVBoxLayout(vlgFrame);
    vf->setContentsMargins(8, 8, 8, 8);
    vf->setSpacing(3);
    vf->addWidget(Label1);
    vf->addWidget(txtVinfo);
    vf->addWidget(Label2);
    vf->addWidget(IList1, 1);

    stack->addWidget(myFrame);
    stack->addWidget(vlgFrame);
    myFrame->setProperty("Tag", "STRETCHV");
    vlgFrame->setProperty("Tag", "STRETCHV");
}

void frmChat::showGroupPanel(bool on) {
    vlgFrame->setVisible(on);
    myFrame->setVisible(!on);
    if (on) vlgFrame->raise();
}

int frmChat::ownHead() const {
    return std::atoi(windows_.session().myHead.c_str());
}

void frmChat::Form_Load() {
    Session& s = windows_.session();
    activated_ = false;
    imgMyself->setPixmap(QPixmap(
        QString::fromStdString(windows_.assetFile("image/" + std::to_string(ownHead() - 1) + ".jpg"))));

    CIniFile userIni(s.userIni());
    const Bytes at = userIni.GetIniKey(store::settings::kPositionSection, store::settings::kChatForm);
    const auto comma = at.find(',');
    // Twips, as the main window's position.
    const int left = std::atoi(at.substr(0, comma).c_str());
    if (left > 0 && comma != Bytes::npos)
        move(twipsToPixels(left), twipsToPixels(std::atoi(at.substr(comma + 1).c_str())));
    applyStoredTransparency(
        this, userIni.GetIniKey(store::settings::kSettingSection, store::settings::kTransparency));

    wantsResize_ = true;
    AutosizeControls(autosize_, this, true);
    // The size limit: never smaller than at its load, never larger than its screen.
    setMinimumSize(QWidget::size());
    if (const QScreen* shown = screen()) setMaximumSize(shown->size());

    FontSel->lower();
    size->lower();
    ListView1->lower();
    windows_.faces().LoadKeyWords();
    InitAndSetControls();
    ReFreshTextInDown();
    wakeDelivery();
}

void frmChat::InitAndSetControls() {
    // Filling the lists is no change of the user's: the box keeps its look meanwhile.
    const QSignalBlocker quietFonts(FontSel), quietSizes(size);
    if (size->findText("10") < 0) size->addItem("10");
    size->setCurrentText("10");
    if (FontSel->findText("宋体") < 0) FontSel->addItem("宋体");
    FontSel->setCurrentText("宋体");
    FontSel->hide();
    size->hide();
    color_ = 0;
    windows_.linkTable.clear();
}

void frmChat::InitFontList() {
    const QSignalBlocker quietFonts(FontSel), quietSizes(size);
    FontSel->clear();
    FontSel->addItems(QFontDatabase::families());
    if (FontSel->findText("宋体") < 0) FontSel->insertItem(0, "宋体");
    FontSel->setCurrentText(QString::fromStdString(gbk::toUtf8(windows_.boxLook().font)));
    size->clear();
    for (int s : kSizes) size->addItem(QString::number(s));
    size->setCurrentText(QString::number(windows_.boxLook().size));
}

void frmChat::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!activated_) Form_Activate();
}

void frmChat::Form_Activate() {
    if (windowTitle().isEmpty() || lbFrd->text().isEmpty()) return;
    activated_ = true;
    Session& s = windows_.session();
    const Bytes name = lbFrdCaption();
    if (chatMode == ChatMode::MM) {
        txtVinfo->setPlainText("欢迎所有热爱珀岚游戏的朋友~~~");
        Label1->setText("公告");
    } else if (chatMode == ChatMode::TUN) {
        txtName->setText(qs(name));
        CIniFile info(s.userFile(store::info::kFileName));
        if (info.GetIniKey(name, store::info::kUserName).empty())
            requestDetails(false);
        else
            txtDname->setText(qs(info.GetIniKey(name, store::info::kDearName)));
    } else if (chatMode == ChatMode::OTM) {
        CIniFile info(s.userFile(store::info::kFileName));
        if (info.GetIniKey(name, store::info::kGroupId).empty())
            requestDetails(true);
        else
            txtVinfo->setPlainText(qs(info.GetIniKey(name, store::info::kGroupInfo)));
    } else {
        CIniFile user(s.userFile(store::user::kFileName));
        txtName->setText(qs(user.GetIniKey(name, store::user::kItsName)));
        txtDname->setText(qs(name));
        if (txtName->text().isEmpty()) txtName->setText(txtDname->text());
        int head = std::atoi(user.GetIniKey(name, store::user::kNickHeadId).c_str());
        if (head > Contacts::kOfflineShift) head -= Contacts::kOfflineShift;
        if (head == 0) head = Contacts::kDefaultFriendHead;
        imgFriend->setPixmap(QPixmap(
            QString::fromStdString(windows_.assetFile("image/" + std::to_string(head - 1) + ".jpg"))));
    }
}

void frmChat::requestDetails(bool group) {
    Session& s = windows_.session();
    Bytes body = s.myName;
    body += '\0';
    body += lbFrdCaption();
    body += '\0';
    if (group)
        s.queueFrame(kind::kGroupRecord, code::kNone, body);
    else
        s.queueFrame(kind::kProfile, code::kProfileAfterAdd, body);
}

void frmChat::closeEvent(QCloseEvent* event) {
    savePosition();
    if (chatMode == ChatMode::MM) windows_.roomClosed(talkEnabled());
    if (record_) record_->close();
    QWidget::closeEvent(event);
}

void frmChat::savePosition() {
    CIniFile userIni(windows_.session().userIni());
    const std::string at =
        std::to_string(x() * kTwipsPerPixel) + "," + std::to_string(y() * kTwipsPerPixel) + ",";
    userIni.WriteIniKey(store::settings::kPositionSection, store::settings::kChatForm, at);
}

void frmChat::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (wantsResize_) AutosizeControls(autosize_, this);
}

void frmChat::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && record_) record_->setVisible(!isMinimized());
}

void frmChat::toolClicked(int index) {
    if (!toolbarReady_) {
        ListView1->hide();
        InitFontList();
        FontSel->hide();
        toolbarReady_ = true;
    }
    const QPoint above = mapFromGlobal(tool(0).mapToGlobal(QPoint(0, 0)));
    switch (index) {
        case kFont:
            closeDropDowns(false, true, true);
            FontSel->move(above.x(), above.y() - FontSel->sizeHint().height() - 2);
            FontSel->resize(180, FontSel->sizeHint().height());
            FontSel->setVisible(!FontSel->isVisible());
            if (FontSel->isVisible()) FontSel->raise();
            break;
        case kSize:
            closeDropDowns(true, false, true);
            size->move(mapFromGlobal(tool(kSize).mapToGlobal(QPoint(0, 0))) -
                       QPoint(0, size->sizeHint().height() + 2));
            size->resize(64, size->sizeHint().height());
            size->setVisible(!size->isVisible());
            if (size->isVisible()) size->raise();
            break;
        case kColor:
            closeDropDowns(true, true, true);
            OnColorDlgShow();
            break;
        case kFace:
            closeDropDowns(true, true, false);
            fillFacePicker();
            ListView1->move(above.x(), above.y() - ListView1->height() - 2);
            ListView1->setVisible(!ListView1->isVisible());
            if (ListView1->isVisible()) ListView1->raise();
            break;
        case kNarrow:
            if (!isMaximized()) setNarrow(true);
            break;
        case kWiden:
            setNarrow(false);
            break;
        case kRecord:
            toggleRecord();
            break;
        case kClear:
            revRtf->clear();
            sndRtf->setFocus();
            break;
        default:
            break;
    }
}

void frmChat::toggleRecord() {
    if (record_ && record_->isVisible()) {
        record_->close();
        return;
    }
    Session& s = windows_.session();
    const CIniFile userIni(s.userIni());
    record_ = new frmChatRecord(
        s.userFile(kRecordFile),
        userIni.GetIniKey(store::settings::kSettingSection, store::settings::kTransparency), this);
    QStringList friends;
    const ItemList& list = windows_.contacts().MyList(Contacts::kFriends);
    for (int i = 1; i <= list.count(); ++i) friends << qs(list.Item(i).Caption);
    record_->openUnder(frameGeometry(), lbFrd->text(), friends);
}

void frmChat::closeDropDowns(bool font, bool sizes, bool faces) {
    if (font) FontSel->hide();
    if (sizes) size->hide();
    if (faces) ListView1->hide();
}

void frmChat::fillFacePicker() {
    Faces& faces = windows_.faces();
    const int n = std::min(faces.faceCount(), kKeywordSlots);
    if (ListView1->count() == n) return;
    ListView1->clear();
    for (int i = 1; i <= n; ++i) {
        auto* item =
            new QListWidgetItem(QIcon(QString::fromStdString(faces.facePath(i))), QString(), ListView1);
        item->setToolTip("/" + qs(faces.keywordTable()[static_cast<size_t>(i - 1)]));
    }
    // Whole rows only, and room for the scroll bar only when the set needs one.
    const int rows = std::clamp((n + kFacePickerColumns - 1) / kFacePickerColumns, 1, kFacePickerRows);
    const bool scrolls = n > kFacePickerColumns * kFacePickerRows;
    const int frame = 2 * ListView1->frameWidth() + 2;
    ListView1->setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    ListView1->setFixedSize(kFaceCellPx * kFacePickerColumns + frame +
                                (scrolls ? ListView1->verticalScrollBar()->sizeHint().width() : 0),
                            kFaceCellPx * rows + frame);
}

void frmChat::OnColorDlgShow() {
    const QColor chosen = QColorDialog::getColor(RichText::colorFromValue(color_), this, "颜色");
    if (chosen.isValid()) {
        color_ = RichText::valueFromColor(chosen);
        ReFreshTextInDown();
    }
}

void frmChat::setNarrow(bool narrow) {
    const int step = narrow ? -kSidePanelPx : kSidePanelPx;
    // Everything follows the new width by its Tag but the history, tools and send box, which
    // keep their size: the side panel's width is what comes and goes. The window is then
    // measured afresh, its new width the design and the minimum.
    std::vector<std::pair<QWidget*, QRect>> column{{mainframe, mainframe->geometry()}};
    for (QWidget* w : mainframe->findChildren<QWidget*>()) column.emplace_back(w, w->geometry());
    const int wanted = width() + step;
    setMinimumWidth(std::min(minimumWidth(), wanted));
    resize(wanted, height());
    setMinimumWidth(width());
    // Short of the wanted width (the screen limit), the column gives up the difference.
    const QSize slack(width() - wanted, 0);
    for (const auto& [w, at] : column)
        w->setGeometry(autosizeRect(at, autosizeRule(w->property("Tag").toString()), QSize(0, 0), slack));
    sidePanel_->setVisible(!narrow);
    AutosizeControls(autosize_, this, true);
    tool(kNarrow).setVisible(!narrow);
    tool(kWiden).setVisible(narrow);
}

}  // namespace nq::app
