#include "app/main_form.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QCursor>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QStatusBar>
#include <QWindow>
#include <cstdio>

#include "app/add_wizards.h"
#include "app/chat_windows.h"
#include "app/contact_area.h"
#include "app/desktop_bridge.h"
#include "app/group_windows.h"
#include "app/hall_link.h"
#include "app/header_band.h"
#include "app/login_frame.h"
#include "app/main_frame.h"
#include "app/profile_windows.h"
#include "app/ready_signal.h"
#include "contacts/contacts.h"
#include "contacts/profile_cache.h"
#include "conversation/chat_manager.h"
#include "conversation/public_room.h"
#include "desktop/auto_hide.h"
#include "desktop/hotkey_text.h"
#include "desktop/qt_platform_services.h"
#include "desktop/tray.h"
#include "session/qt_transport.h"
#include "session/startup.h"
#include "store/store_keys.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/twips.h"

namespace nq::app {
namespace {

namespace keys = store::settings;

// The design size in pixels: narrow and tall like the contact windows of desktop IM clients.
// It is also the minimum the resize handler restores.
constexpr int kDesignWidth = 300;
constexpr int kDesignHeight = 600;

// StatusBar1: a pale strip with a hairline on top, its two panels without frames.
class StatusStrip : public QStatusBar {
  public:
    explicit StatusStrip(QWidget* parent) : QStatusBar(parent) {
        QPalette pal = palette();
        pal.setColor(QPalette::Window, QColor(0xf3, 0xf5, 0xf8));
        pal.setColor(QPalette::WindowText, QColor(0x5a, 0x62, 0x70));
        setPalette(pal);
        setAutoFillBackground(true);
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        // QStatusBar's own painting would frame each panel; the strip only needs its top line.
        QPainter p(this);
        p.setPen(QColor(0xe1, 0xe5, 0xea));
        p.drawLine(0, 0, width(), 0);
    }
};

QString fromUtf8(const std::string& s) {
    return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}
std::string toUtf8(const QString& s) {
    return s.toUtf8().toStdString();
}

}  // namespace

// The real sockets, timer and services, made before the session that refers to them and
// destroyed after it.
struct Mainform::OwnedParts {
    QtPlatformServices services;
    QtUdpSocket winSock_Update;
    QtUdpSocket SocketChat;
    QtTimer timer_Peng;
    std::unique_ptr<MainformDesktop> desktop = makeQtMainformDesktop();

    OwnedParts(int tickMs, std::function<void()> onTick) : timer_Peng(tickMs, std::move(onTick)) {}
    MainformParts parts() { return {services, winSock_Update, SocketChat, timer_Peng, *desktop}; }
};

Mainform::Mainform(MainformOptions options, QWidget* parent)
    : Mainform(options, std::make_unique<OwnedParts>(options.tickMs, [this] { session_->tick(); }), parent) {}

Mainform::Mainform(MainformOptions options, std::unique_ptr<OwnedParts> owned, QWidget* parent)
    : Mainform(std::move(options), owned->parts(), parent) {
    owned_ = std::move(owned);
    owned_->services.setMainWindow(this);
    owned_->services.toasts().setTransValueReader([this] { return storedTransValue(); });
    // DeskToolbar1: the window slides behind the top edge while its top stands above the screen.
    auto* deskToolbar = new AutoHide(this, AutoHide::mainWindowSettings());
    deskToolbar->start();
    attachAutoHide([deskToolbar](bool on) {
        // Handing over the state it already has must not move the window before the load.
        if (on != deskToolbar->enabled()) deskToolbar->setEnabled(on);
    });
}

Mainform::Mainform(MainformOptions options, MainformParts parts, QWidget* parent)
    : QMainWindow(parent), options_(std::move(options)), desktop_(&parts.desktop) {
    setObjectName(kObjectName);
    build();
    session_ = std::make_unique<Session>(options_.programFolder, parts.services, *this, parts.winSock_Update,
                                         parts.SocketChat, parts.timer_Peng);
    if (!options_.assetFolder.empty()) session_->setAssetFolder(options_.assetFolder);
    session_->traceFrames = options_.trace;
    contacts_ = std::make_unique<Contacts>(*session_);
    chats_ = std::make_unique<ChatManager>(*session_, *contacts_);
    chatWindows_ = std::make_unique<ChatWindows>(*session_, *contacts_, *chats_);
    attachPublicRoom();
    connect(chats_.get(), &ChatManager::trayIconRefresh, this,
            [this](int state) { desktop_->traySetState(state); });
    chatWindows_->setMainWindow(this, [this](bool fixZeroTop) {
        setWindowState(windowState() & ~Qt::WindowMinimized);
        if (fixZeroTop && y() == 0) move(x(), 1);
        if (loginFrame_) loginFrame_->lower();
        show();
        raise();
        activateWindow();
    });
    attachChatOpener([this](const ChatRequest& request) { chatWindows_->open(request); });
    chatWindows_->setMemberMenu([this](const Bytes& member) {
        if (QMenu* menu = contactArea().memberMenu(member)) menu->popup(QCursor::pos());
    });
    attachTrayLeftClick([this] { chats_->OpenNextPending(); });
    groups_ = std::make_unique<GroupWindows>(*this);
    connectContacts();
    connectControls();
    connectMenus();
    attachProfiles();
    attachMenuAction(menus_.settingsWindow, [this] { openSettings(); });
    addWizards_ = std::make_unique<AddWizards>(*this);
    // A result's details: a person's profile, read-only, or a group's card.
    addWizards_->setProfileOpener(
        [this](const Bytes& name, int mode) { profiles_->ShowProfile(name, mode, true); });
    addWizards_->setGroupCardOpener([this](const Bytes& group) { groups_->actions().showCard(group); });
    desktop_->onTrayClick([this](TrayClick click) { trayClicked(click); });
    desktop_->onHotkeyFetch([this] { chats_->openNextPendingByHotkey(); });
    connect(session_.get(), &Session::hotkeyRegistrationDue, this, &Mainform::registerStoredHotkey);
    connect(session_.get(), &Session::hotkeyReleaseDue, this,
            [this] { desktop_->applyHotkey(1, "", "Del"); });
    hallLink_ = std::make_unique<HallLink>(*this);
    attachRoomView([this] { showRoomView(); });
    connect(session_.get(), &Session::hallLinkStartDue, hallLink_.get(), &HallLink::listen);
}

void Mainform::attachRoomView(std::function<void()> show) {
    hallLink_->setRoomView(std::move(show));
}

void Mainform::registerStoredHotkey() {
    pointIniAtUserIni();
    const Bytes stored = session_->ini.GetIniKey(keys::kSettingSection, keys::kHotkey);
    applyHotkey(hotkeyValueAtLogin(stored).value_or(std::string()));
}

void Mainform::applyHotkey(const std::string& value) {
    desktop_->applyHotkey(1, value, "Del");
    if (!value.empty()) desktop_->applyHotkey(1, value, "Add");
}

Mainform::~Mainform() = default;

void Mainform::build() {
    setWindowTitle("珀岚聊天");
    setWindowIcon(nq::appIcon());
    designSize_ = QSize(kDesignWidth, kDesignHeight);
    resize(designSize_);

    // Every panel stands at its design place on a plain client area; their Tags, not a layout,
    // move them when the window changes size.
    canvas_ = new QWidget(this);
    setCentralWidget(canvas_);
    header_ = new HeaderBand(canvas_);
    menus_ = buildMainMenus(this);
    header_->attachMenus(menus_);
    contactMenus_ = buildContactMenus(this);

    statusBar_ = new StatusStrip(canvas_);
    statusBar_->setObjectName("StatusBar1");
    statusBar_->setSizeGripEnabled(false);
    for (int i = 0; i < 2; ++i) {
        statusPanels_[i] = new QLabel(statusBar_);
        statusPanels_[i]->setObjectName(QString("StatusBar1.Panels(%1)").arg(i + 1));
        statusPanels_[i]->setContentsMargins(6, 2, 6, 2);
        statusBar_->addWidget(statusPanels_[i], 1);
    }

    const int bandHeight = header_->sizeHint().height();
    const int stripHeight = statusBar_->sizeHint().height();
    header_->setGeometry(0, 0, kDesignWidth, bandHeight);
    header_->setProperty("Tag", "STRETCHH");
    freezeLayouts(header_);
    statusBar_->setGeometry(0, kDesignHeight - stripHeight, kDesignWidth, stripHeight);
    statusBar_->setProperty("Tag", "STRETCHHMOVEV");

    // The contact frame is made when it is first needed: the login panel is all a start shows.
    frameDesign_ = QRect(0, bandHeight, kDesignWidth, kDesignHeight - bandHeight - stripHeight);
    loginFrame_ = new LoginFrame(canvas_);
    loginFrame_->setGeometry(frameDesign_);
    loginFrame_->setProperty("Tag", "STRETCHALL");
    freezeLayouts(loginFrame_);
    AutosizeControls(autosize_, this, true);

    // The design position: near the right edge of the screen, where such windows live. A
    // stored position replaces it at load.
    if (const QScreen* screen = QApplication::primaryScreen()) {
        const QRect avail = screen->availableGeometry();
        move(std::max(avail.left(), avail.right() - kDesignWidth - 80), avail.top() + 60);
    }
}

void Mainform::connectContacts() {
    Contacts& c = *contacts_;
    connect(session_.get(), &Session::cachedListsDue, &c, &Contacts::loadFromfile);
    connect(session_.get(), &Session::saveQuitDue, &c, &Contacts::saveQuit);
    connect(session_.get(), &Session::loggedOut, &c, &Contacts::resetCounters);
    connect(&c, &Contacts::statusChanged, this, &Mainform::setStatus);
    connect(&c, &Contacts::mainFrameDue, this, &Mainform::showMainFrame);
}

void Mainform::connectControls() {
    LoginFrame& f = *loginFrame_;
    connect(f.com_login, &lvButtons_H::Click, this, [this] { session_->comLoginClick(); });
    connect(f.com_cancle, &lvButtons_H::Click, this, [this] { session_->comCancleClick(); });
    // clicked, not toggled: the load ticks the boxes from the file, and only a user's click
    // writes the key back.
    connect(f.cb_remPwd, &QCheckBox::clicked, this, [this](bool on) { session_->remPwdClicked(on); });
    connect(f.cb_autoRun, &QCheckBox::clicked, this, [this](bool on) { session_->autoRunClicked(on); });
    connect(f.txtPassword, &QLineEdit::returnPressed, f.com_login, &lvButtons_H::click);
}

void Mainform::connectMenus() {
    connect(menus_.logout, &QAction::triggered, this, [this] { session_->logout(); });
    connect(menus_.show, &QAction::triggered, this, [this] {
        setWindowState(windowState() & ~Qt::WindowMinimized);
        show();
        raise();
        activateWindow();
    });
    connect(menus_.minimize, &QAction::triggered, this,
            [this] { setWindowState(windowState() | Qt::WindowMinimized); });
    connect(menus_.exit, &QAction::triggered, this, &Mainform::exitProgram);
    connect(menus_.topMost, &QAction::triggered, this, &Mainform::toggleTopMost);
    connect(menus_.autoHide, &QAction::triggered, this, &Mainform::toggleAutoHide);
    // 操作 does what the contact area's popups do: whoever brings the wizards connects there.
    const std::pair<QAction*, std::pair<QMenu*, const char*>> forwards[] = {
        {menus_.addFriend, {contactMenus_.friendItem, "添加好友1"}},
        {menus_.addGroup, {contactMenus_.group, "添加山庄1"}},
        {menus_.addBlacklist, {contactMenus_.blacklistEmpty, "添加黑名单大项"}},
        {menus_.createGroup, {contactMenus_.group, "创建山庄1"}},
    };
    for (const auto& [item, target] : forwards) {
        QAction* to = ContactMenus::item(target.first, QString::fromUtf8(target.second));
        attachMenuAction(item, [to] { to->trigger(); });
    }
    refreshMenuStates();
}

// Every item that shows a person's profile, and the name in a conversation window's title.
void Mainform::attachProfiles() {
    profiles_ = std::make_unique<ProfileWindows>(*session_, *contacts_, session_->assetFolder());
    ProfileWindows& p = *profiles_;
    attachMenuAction(menus_.myInfo, [&p] { p.showOwn(); });
    const auto selected = [this](int list) {
        const ItemList& l = contacts_->MyList(list);
        return l.Selected() >= 1 && l.Selected() <= l.count() ? l.Item(l.Selected()).Caption : Bytes();
    };
    const auto on = [this](QMenu* menu, const char* name, std::function<void()> action) {
        connect(ContactMenus::item(menu, QString::fromUtf8(name)), &QAction::triggered, this,
                [action = std::move(action)] { action(); });
    };
    on(contactMenus_.friendItem, "查看好友资料",
       [&p, selected] { p.showFromMenu(selected(Contacts::kFriends), ProfileCache::kByNick); });
    on(contactMenus_.blacklistItem, "查看黑名单信息",
       [&p, selected] { p.showFromMenu(selected(Contacts::kBlacklist), ProfileCache::kByAccount); });
    on(contactMenus_.strangerItem, "查看陌生人资料",
       [&p, selected] { p.showFromMenu(selected(Contacts::kStrangers), ProfileCache::kByAccount); });
    on(contactMenus_.member, "查看山庄成员资料",
       [this, &p] { p.showFromMenu(contactArea().rightClickedMemberName(), ProfileCache::kByAccount); });
    chatWindows_->setProfileOpener([&p](const Bytes& name, int mode) { p.ShowProfile(name, mode, true); });
}

void Mainform::trayClicked(TrayClick click) {
    if (click == TrayClick::Right) {
        activateWindow();
        menus_.system->popup(QCursor::pos());
        return;
    }
    if (trayLeftClick_) {
        trayLeftClick_();
        return;
    }
    // With no message waiting, fetching the next one comes down to bringing the window back.
    menus_.show->trigger();
}

void Mainform::attachTrayLeftClick(std::function<void()> openNextPending) {
    trayLeftClick_ = std::move(openNextPending);
}

void Mainform::attachChatOpener(std::function<void(const ChatRequest&)> open) {
    chatOpener_ = std::move(open);
    if (contactArea_) contactArea_->setChatOpener(chatOpener_);
}

void Mainform::attachMenuAction(QAction* item, std::function<void()> action) {
    if (!item) return;
    // A later attach replaces the action; the item stays connected once, so it runs once.
    const bool connected = menuActions_.count(item) != 0;
    menuActions_[item] = std::move(action);
    if (!connected)
        connect(item, &QAction::triggered, this, [this, item] {
            auto it = menuActions_.find(item);
            if (it != menuActions_.end() && it->second) it->second();
        });
    refreshMenuStates();
}

void Mainform::attachAutoHide(std::function<void(bool)> setActive) {
    setAutoHide_ = std::move(setActive);
    if (setAutoHide_) setAutoHide_(autoHideActive_);
    refreshMenuStates();
}

void Mainform::refreshMenuStates() {
    const auto attached = [this](QAction* a) { return menuActions_.count(a) != 0; };
    for (QAction* a : {menus_.myInfo, menus_.addFriend, menus_.addBlacklist, menus_.addGroup,
                       menus_.createGroup, menus_.settingsWindow})
        a->setEnabled(sessionMenusEnabled_ && attached(a));
    menus_.about->setEnabled(attached(menus_.about));
    menus_.autoHide->setEnabled(static_cast<bool>(setAutoHide_));
}

void Mainform::pointIniAtUserIni() {
    session_->ini.setINIFileName(session_->userIni());
}

void Mainform::load(const std::string& commandLine) {
    Session& s = *session_;
    s.loginBody.clear();
    restoreWindowSettings();
    setInputsEnabled(true);
    s.exitAllowed = true;
    s.InitGlobals();

    setMinimumSize(designSize_);
    setStatus(1, "未登录用户");
    setStatus(2, "状态：未登录");
    contacts_->clearLists();
    for (int i : {Contacts::kStrangers, Contacts::kRooms}) {
        contacts_->MyList(i).Clear();
        contacts_->MyList(i).Redraw();
    }
    if (mainFrame_) mainFrame_->showPage(MainFrame::Friends);
    header_->setSubtitle("游戏玩家的聊天工具");

    desktop_->trayAdd(this, kTrayTip);
    if (!desktop_->trayAvailable()) {
        static bool said = false;
        if (!said)
            std::fputs("nqchat: no system tray on this desktop: closing the main window quits\n", stderr);
        said = true;
    }
    s.restoreLoginPanel(commandLine);
}

void Mainform::restoreWindowSettings() {
    pointIniAtUserIni();
    CIniFile& ini = session_->ini;
    if (auto pos = parsePosition(ini.GetIniKey(keys::kPositionSection, keys::kMainForm)))
        move(twipsToPixels(pos->left), twipsToPixels(pos->top));

    desktop_->applyStoredTransparency(this, ini.GetIniKey(keys::kSettingSection, keys::kTransparency));

    // "True" only ticks the item: the window reaches the topmost band when the user toggles it.
    if (ini.GetIniKey(keys::kSettingSection, keys::kAlwaysOnTop) == "True")
        menus_.topMost->setChecked(true);
    else
        desktop_->setTopMost(this, false);

    if (ini.GetIniKey(keys::kSettingSection, keys::kAutoHide) == "True") {
        menus_.autoHide->setChecked(true);
    } else {
        autoHideActive_ = false;
        if (setAutoHide_) setAutoHide_(false);
    }
}

std::string Mainform::storedTransValue() const {
    // Read through a file named here: the shared accessor stays pointed wherever it was.
    return CIniFile(session_->userIni()).GetIniKey(keys::kSettingSection, keys::kTransparency);
}

void Mainform::toggleTopMost(bool checked) {
    desktop_->setTopMost(this, checked);
    pointIniAtUserIni();
    session_->ini.WriteIniKey(keys::kSettingSection, keys::kAlwaysOnTop, checked ? "True" : "False");
}

void Mainform::toggleAutoHide(bool checked) {
    autoHideActive_ = checked;
    if (setAutoHide_) setAutoHide_(checked);
    pointIniAtUserIni();
    session_->ini.WriteIniKey(keys::kSettingSection, keys::kAutoHide, checked ? "True" : "False");
}

void Mainform::exitProgram() {
    session_->exitAllowed = true;
    close();
}

bool Mainform::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate) activated();
    return QMainWindow::event(event);
}

void Mainform::activated() {
    if (session_->online) return;
    if (loginFrame_->txtName->text().isEmpty()) {
        focusName();
    } else {
        focusPassword();
        loginFrame_->txtPassword->selectAll();
    }
}

void Mainform::closeEvent(QCloseEvent* event) {
    pointIniAtUserIni();
    // Without a notification area a hidden window could not be brought back: the close quits.
    if (!session_->exitAllowed && desktop_->trayAvailable()) {
        // Logged in: the session goes on in the tray.
        event->ignore();
        setWindowState(windowState() | Qt::WindowMinimized);
        hide();
        return;
    }
    unload();
    event->accept();
}

void Mainform::unload() {
    if (unloaded_) return;
    unloaded_ = true;
    session_->unload();
    pointIniAtUserIni();
    const QPoint at = pos();
    session_->ini.WriteIniKey(keys::kPositionSection, keys::kMainForm,
                              formatPosition(at.x() * kTwipsPerPixel, at.y() * kTwipsPerPixel));
    desktop_->trayRemove();
    unloadOtherForms();
    session_->finishUnload();
    emit unloaded();
}

void Mainform::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    if (windowState() & Qt::WindowMinimized) return;
    // Qt also sends one when the window comes back with the same size, as it does when it is
    // moved into the topmost band; only a new size counts, or a docked window would be pulled
    // down below the edge the moment the edge hiding raises it.
    if (size() == lastResized_) return;
    lastResized_ = size();
    if (!(windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen))) {
        // A top edge at 0 or above the screen would read as docked to the edge-hiding logic.
        if (pos().y() <= 0) move(pos().x(), 1);
        const QSize least = size().expandedTo(designSize_);
        if (least != size()) resize(least);
    }
    AutosizeControls(autosize_, this);
}

void Mainform::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (!readyNotified_ && windowHandle()) windowHandle()->installEventFilter(this);
}

// The first frame is done once the window's first exposure has been painted and flushed. The
// window's own paint event is no sign of it: its panels cover it whole and paint themselves.
bool Mainform::eventFilter(QObject* watched, QEvent* event) {
    if (!readyNotified_ && watched == windowHandle() && event->type() == QEvent::Expose &&
        windowHandle()->isExposed()) {
        readyNotified_ = true;
        watched->removeEventFilter(this);
        // Queued, so that it runs after the exposure's paint and flush, children included.
        QMetaObject::invokeMethod(
            this, [] { notifyReadyOnce(); }, Qt::QueuedConnection);
    }
    return QMainWindow::eventFilter(watched, event);
}

QString Mainform::statusText(int panel) const {
    if (panel < 1 || panel > 2) return {};
    return statusPanels_[panel - 1]->text();
}

bool Mainform::mainFrameShown() const {
    return mainFrame_ && !mainFrame_->isHidden();
}

MainFrame& Mainform::mainFrame() {
    if (!mainFrame_) {
        // The portal's pages are deployment settings of Sys.ini, which the client never writes.
        const CIniFile sys(session_->sysIni());
        const auto url = [&sys](std::string_view key) {
            return QString::fromStdString(gbk::toUtf8(sys.GetIniKey(keys::kPortalSection, key)));
        };
        MainFrameSetup setup;
        setup.imageFolder = QString::fromStdString(session_->assetFolder() + "/image");
        setup.topGroupsUrl = url(keys::kPortalTopGroups);
        setup.partnerUrl = url(keys::kPortalPartner);
        setup.hallUrl = url(keys::kPortalHall);
        setup.communityUrl = url(keys::kPortalCommunity);
        // Made at its design place and size, then brought to the window's present size.
        mainFrame_ = new MainFrame(setup, frameDesign_.size(), canvas_);
        mainFrame_->move(frameDesign_.topLeft());
        mainFrame_->setProperty("Tag", "STRETCHALL");
        mainFrame_->hide();
        AutosizeAppend(autosize_, mainFrame_);
        AutosizeControls(autosize_, this);
        contactArea_ = new ContactArea(*session_, *contacts_, *mainFrame_, contactMenus_, this);
        contactArea_->setChatOpener(chatOpener_);
        chatWindows_->setHeads(&mainFrame_->heads());
        groups_->frameMade(*mainFrame_);
    }
    return *mainFrame_;
}

ContactArea& Mainform::contactArea() {
    mainFrame();
    return *contactArea_;
}

// ---- SessionView ----

std::string Mainform::nameText() const {
    return toUtf8(loginFrame_->txtName->text());
}
void Mainform::setNameText(const std::string& text) {
    loginFrame_->txtName->setText(fromUtf8(text));
}
std::string Mainform::passwordText() const {
    return toUtf8(loginFrame_->txtPassword->text());
}
void Mainform::setPasswordText(const std::string& text) {
    loginFrame_->txtPassword->setText(fromUtf8(text));
}
void Mainform::setInputsEnabled(bool enabled) {
    loginFrame_->setInputsEnabled(enabled);
}

void Mainform::selectNameText() {
    loginFrame_->txtName->selectAll();
    loginFrame_->txtName->setFocus(Qt::OtherFocusReason);
}
void Mainform::focusName() {
    loginFrame_->txtName->setFocus(Qt::OtherFocusReason);
}
void Mainform::selectPasswordText() {
    loginFrame_->txtPassword->selectAll();
}
void Mainform::focusPassword() {
    loginFrame_->txtPassword->setFocus(Qt::OtherFocusReason);
}
void Mainform::setRememberChecked(bool checked) {
    loginFrame_->cb_remPwd->setChecked(checked);
}
void Mainform::setAutoRunChecked(bool checked) {
    loginFrame_->cb_autoRun->setChecked(checked);
}
void Mainform::setLoginEnabled(bool enabled) {
    loginFrame_->com_login->setEnabled(enabled);
}
void Mainform::setCancelEnabled(bool enabled) {
    loginFrame_->com_cancle->setEnabled(enabled);
}

void Mainform::setInfo(const std::string& text, InfoColor color) {
    loginFrame_->setInfo(fromUtf8(text), color == InfoColor::Red);
}

void Mainform::setStatus(int panel, const std::string& text) {
    if (panel < 1 || panel > 2) return;
    statusPanels_[panel - 1]->setText(fromUtf8(text));
}

void Mainform::showLoginFrame() {
    if (mainFrame_) mainFrame_->hide();
    loginFrame_->show();
    header_->setSubtitle("游戏玩家的聊天工具");
}

void Mainform::showMainFrame() {
    mainFrame().show();
    loginFrame_->hide();
    const std::string nick = gbk::toUtf8(session_->myNick.empty() ? session_->myName : session_->myNick);
    header_->setSubtitle(fromUtf8(nick));
}

void Mainform::clearContacts() {
    contacts_->clearLists();
}

void Mainform::setSessionMenusEnabled(bool enabled) {
    sessionMenusEnabled_ = enabled;
    refreshMenuStates();
}

void Mainform::unloadOtherForms() {
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w == this || w->objectName() == kObjectName) continue;
        // Popups and tooltips are pieces of other windows, not forms of their own.
        const Qt::WindowType type = w->windowType();
        if (type == Qt::Popup || type == Qt::ToolTip || type == Qt::Desktop) continue;
        w->close();
    }
}

void Mainform::unloadMainForm() {
    close();
}

void Mainform::trayRemove() {
    desktop_->trayRemove();
}

}  // namespace nq::app
