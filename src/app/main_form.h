#pragma once
// Mainform: the program's first and last window. It owns the session with its two sockets and
// its timer, shows the login panel until the roster arrives and the contact frame after, keeps
// the window's settings in User.ini, and ends the session when it unloads. Its object name is
// "NQChat": code that closes every other window spares the one with that name.

#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "app/main_menus.h"
#include "desktop/mod_autosize.h"
#include "desktop/tray.h"
#include "session/session.h"
#include "session/session_view.h"

class QLabel;
class QStatusBar;

namespace nq {
class ChatManager;
class Contacts;
class PublicRoom;
}  // namespace nq

namespace nq::app {

class AddWizards;
class ChatWindows;
class ContactArea;
class GroupWindows;
class HallLink;
struct ChatRequest;
class HeaderBand;
class LoginFrame;
class MainFrame;
class MainformDesktop;
class ProfileWindows;

struct MainformOptions {
    std::string programFolder;
    int tickMs = Session::kTickMs;  // timer_Peng's interval
    bool trace = false;             // every datagram in and out to stderr
    std::string homeArgument = {};  // --home as given, for the autostart entry; empty without
    std::string assetFolder = {};   // empty: the program folder
};

// What tests hand in instead of the real sockets, timer, platform and desktop services. With
// injected parts nothing drives timer_Peng: the test calls session().tick() itself.
struct MainformParts {
    PlatformServices& services;
    DatagramSocket& winSock_Update;
    DatagramSocket& SocketChat;
    Timer& timer_Peng;
    MainformDesktop& desktop;
};

class Mainform : public QMainWindow, public SessionView {
    Q_OBJECT
  public:
    static constexpr const char* kTrayTip = "珀岚聊天";
    // Code that closes every other window spares the one with this name.
    static constexpr const char* kObjectName = "NQChat";

    // The real thing: Qt sockets, a Qt timer calling tick(), the desktop's services.
    explicit Mainform(MainformOptions options, QWidget* parent = nullptr);
    Mainform(MainformOptions options, MainformParts parts, QWidget* parent = nullptr);
    ~Mainform() override;

    // Form load, in its fixed order: window settings from User.ini, the global state, the
    // status panels and frames, the tray icon, then the login boxes, the automatic login and
    // the hall's command line (the rest of our command line).
    void load(const std::string& commandLine);

    Session& session() { return *session_; }
    Contacts& contacts() { return *contacts_; }
    ChatManager& chats() { return *chats_; }
    ChatWindows& chatWindows() { return *chatWindows_; }
    PublicRoom& publicRoom() { return *room_; }
    ProfileWindows& profiles() { return *profiles_; }
    GroupWindows& groupWindows() { return *groups_; }
    AddWizards& addWizards() { return *addWizards_; }
    const MainMenus& menus() const { return menus_; }
    const ContactMenus& contactMenus() const { return contactMenus_; }
    HeaderBand& headerBand() const { return *header_; }
    LoginFrame& loginFrame() { return *loginFrame_; }
    MainFrame& mainFrame();  // made at its first use, with the contact area behind it
    ContactArea& contactArea();
    [[nodiscard]] QString statusText(int panel) const;
    [[nodiscard]] bool mainFrameShown() const;
    // User.ini's TransValue text, as the load applies it to this window and each toast to itself.
    [[nodiscard]] std::string storedTransValue() const;

    // The global hotkey from a User.ini value ("Ctrl+Alt,81"): the old registration is let go,
    // then the value registered unless it is empty. The login and the settings' save run this.
    void applyHotkey(const std::string& value);

    // 退出: the exit flag goes up and the window unloads, whether logged in or not.
    void exitProgram();

    // Later subsystems give a menu item its action; until then it stays disabled. The items
    // of a session (我的基本信息, 添加好友, ...) are enabled only while logged in as well.
    void attachMenuAction(QAction* item, std::function<void()> action);
    // The edge auto-hide of the window (DeskToolbar1). Until one is attached 自动隐藏 only
    // keeps its tick and its key; attaching enables the item and hands over the state.
    void attachAutoHide(std::function<void(bool active)> setActive);
    bool autoHideActive() const { return autoHideActive_; }
    // The settings window's 窗口自动隐藏: the edge hiding goes on or off, the menu's tick stays.
    void setDeskToolbarActive(bool active) {
        autoHideActive_ = active;
        if (setAutoHide_) setAutoHide_(active);
    }
    // 系统设置: the settings window, one at a time; an open one comes to the front.
    void openSettings();
    // A left click on the tray icon fetches the oldest waiting message once the conversation
    // subsystem attaches that; before, and with nothing waiting, it brings the window back.
    void attachTrayLeftClick(std::function<void()> openNextPending);
    // The conversation subsystem opens its window for a double click on a contact or a popup's
    // message item; until it is attached those stop short of the window.
    void attachChatOpener(std::function<void(const ChatRequest&)> open);
    // The room-only view that the hall's launchMode 2 and its room-view request show. Until one
    // is attached they only bring the window back.
    void attachRoomView(std::function<void()> show);
    HallLink& hallLink() { return *hallLink_; }

    // The slim room-only view (the hall's launch mode 2 and its room-view request): the window
    // restored, the rooms' list alone in front with no selection, the rooms page's two portal
    // buttons, the tab 聊天室 in blue and the others black.
    void showRoomView();

    // ---- SessionView ----
    std::string nameText() const override;
    void setNameText(const std::string& text) override;
    std::string passwordText() const override;
    void setPasswordText(const std::string& text) override;
    void setInputsEnabled(bool enabled) override;
    void selectNameText() override;
    void focusName() override;
    void selectPasswordText() override;
    void focusPassword() override;
    void setRememberChecked(bool checked) override;
    void setAutoRunChecked(bool checked) override;
    void setLoginEnabled(bool enabled) override;
    void setCancelEnabled(bool enabled) override;
    void setInfo(const std::string& text, InfoColor color) override;
    void setStatus(int panel, const std::string& text) override;
    void showLoginFrame() override;
    void showMainFrame() override;
    void clearContacts() override;
    void setSessionMenusEnabled(bool enabled) override;
    void unloadOtherForms() override;
    void unloadMainForm() override;
    void trayRemove() override;

  signals:
    // The unload has run: the session is closed and the settings are written. The
    // application ends its event loop on this.
    void unloaded();

  protected:
    bool event(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    struct OwnedParts;
    Mainform(MainformOptions options, std::unique_ptr<OwnedParts> owned, QWidget* parent);
    void build();
    void connectContacts();
    void connectControls();
    void connectMenus();
    void attachProfiles();
    void attachPublicRoom();
    void restoreWindowSettings();
    void activated();
    void unload();
    void toggleTopMost(bool checked);
    void toggleAutoHide(bool checked);
    void refreshMenuStates();
    void trayClicked(TrayClick click);
    void pointIniAtUserIni();
    void registerStoredHotkey();

    MainformOptions options_;
    std::unique_ptr<OwnedParts> owned_;
    MainformDesktop* desktop_ = nullptr;
    std::unique_ptr<Session> session_;
    std::unique_ptr<Contacts> contacts_;  // after the session, whose leaves refer to it
    std::unique_ptr<ChatManager> chats_;  // after the contacts, whose lists it blinks
    std::unique_ptr<PublicRoom> room_;    // before the chat windows, whose room window leaves it
    std::unique_ptr<ChatWindows> chatWindows_;
    std::unique_ptr<ProfileWindows> profiles_;
    std::unique_ptr<GroupWindows> groups_;    // before the chat windows it hands its actions to
    std::unique_ptr<AddWizards> addWizards_;  // its leaves refer to the session
    std::unique_ptr<HallLink> hallLink_;      // last: it acts on all of the above

    HeaderBand* header_ = nullptr;
    QWidget* canvas_ = nullptr;  // the client area the panels stand on
    QRect frameDesign_;          // where loginFrame and mainframe stand at the design size
    LoginFrame* loginFrame_ = nullptr;
    MainFrame* mainFrame_ = nullptr;
    QStatusBar* statusBar_ = nullptr;
    QLabel* statusPanels_[2] = {nullptr, nullptr};
    MainMenus menus_;
    ContactMenus contactMenus_;
    ContactArea* contactArea_ = nullptr;
    std::function<void(const ChatRequest&)> chatOpener_;

    std::map<QAction*, std::function<void()>> menuActions_;
    std::function<void(bool)> setAutoHide_;
    std::function<void()> trayLeftClick_;
    QPointer<QWidget> settingsWindow_;
    bool autoHideActive_ = true;  // DeskToolbar1 is active unless User.ini says otherwise
    bool sessionMenusEnabled_ = false;
    bool unloaded_ = false;
    bool readyNotified_ = false;
    QSize designSize_;
    QSize lastResized_;         // the size the last resize handling saw
    AutosizeRecords autosize_;  // Mod_Autosize's table of the tagged controls
};

}  // namespace nq::app
