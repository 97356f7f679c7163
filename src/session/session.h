#pragma once
// The state of one running client: the rings and codec state, the pump's counters and flags,
// the login state and the identity of the user. The main window owns the one instance; the
// names of the members are the names the protocol's timing rules are written in.

#include <cstdint>
#include <functional>
#include <random>
#include <string>

#include "store/ini_file.h"
#include "session/dispatch.h"
#include "wire/packet.h"
#include "session/platform_services.h"
#include "session/session_view.h"
#include "session/transport.h"

namespace nq {

// Hooks through which later subsystems join the session's fixed sequences. Each is optional.
struct SessionHooks {
    std::function<void()> loadFromfile;  // after login: fill the lists from the cache, ask for the roster
    std::function<void()> applyHotkey;   // after login: register the stored hotkey
    std::function<void()> unreadScan;    // every tick: blink while messages wait
    std::function<void()> saveQuit;      // at exit while online
    std::function<bool()> inPublicRoom;  // at exit: whether sendQuitRoom is due
    std::function<void()> afterLogout;   // 注销: subsystems forget the session's windows and lists
};

class Session : public WireState {
  public:
    static constexpr const char* kPasswordPlaceholder = "31415926";
    static constexpr int kDispatcherPort = 4000;
    static constexpr int kChatPortOffset = 321;
    static constexpr int kPortStepOnConflict = 123;
    static constexpr const char* kAppTitle = "珀岚聊天";
    // The built-in dispatcher host, for a Sys.ini without "Server".
    static constexpr const char* kDefaultServer = "127.0.0.1";
    // The update host handed to the updater; it is the updater's business what answers there.
    static constexpr const char* kUpdateHost = "update.nqchat.invalid";

    Session(std::string programFolder, PlatformServices& services, SessionView& view,
            DatagramSocket& winSock_Update, DatagramSocket& SocketChat, Timer& timer_Peng);

    // ---- pump state ----
    int16_t recvIdle = 0;
    bool sendDone = false;
    Bytes sendBody;
    bool viaDispatcher = false;
    int16_t pengTicks = 0;
    int16_t pengMissed = 0;
    bool online = false;
    bool reverifying = false;
    int16_t reverifyTicks = 0;
    bool waitDispatcher = false;
    int16_t dispatchTicks = 0;
    bool waitReply = false;
    bool waitLogin = false;
    int16_t waitTicks = 0;
    int16_t blinkTicks = 0;

    // ---- login and identity ----
    Bytes loginBody;
    Bytes myName;
    Bytes myNick;
    std::string myHead;  // head index as text
    uint16_t localPort = 7000;
    bool exitAllowed = true;
    bool hallStart = false;
    int hallCommand = 0;
    bool queueActive = false;

    CIniFile ini;  // the one shared accessor: every path points it at its file before use
    DispatchTable handlers;
    SessionHooks hooks;
    bool traceFrames = false;  // --trace: every datagram in and out to stderr

    // ---- paths in the program folder ----
    const std::string& programFolder() const { return programFolder_; }
    std::string sysIni() const;
    std::string userIni() const;
    std::string userFolder() const;  // <program folder>/<myName>
    std::string soundPath(const std::string& file) const;
    std::string updaterPath() const;

    PlatformServices& services() { return services_; }
    SessionView& view() { return view_; }
    DatagramSocket& winSock_Update() { return update_; }
    DatagramSocket& SocketChat() { return chat_; }
    Timer& timer_Peng() { return timer_; }

    // Start-up values: rings, counters and flags as at process start; a fresh local port.
    void InitGlobals();

    // ---- the pump ----
    void tick();
    void chatDataArrival(const Bytes& datagram);
    void chatError(int error);
    void updateDataArrival(const Bytes& datagram);
    void HandleServerMessage();

    // Queues a frame: stores the body in sendBody and appends the frame to the send ring.
    void queueFrame(float type, float sub, float code, const Bytes& body);
    // The same for senders that respect the gate: false (and nothing queued) while it is shut.
    bool queueFrameGated(float type, float sub, float code, const Bytes& body);

    // ---- login panel and session end ----
    void restoreLoginPanel(const std::string& commandLine);  // load: boxes, auto-login, hall start
    void comLoginClick();
    void comCancleClick();
    void remPwdClicked(bool checked);
    void autoRunClicked(bool checked);
    void logout();  // 注销
    void sendQuit();
    void sendQuitRoom();
    void unload();  // the session's part of the main window's unload

    // Leaves owned by this subsystem; the constructor registers them.
    void registerSessionLeaves();

    // Re-seeds the generator from the clock, as a direct-link set-up does.
    void reseed();
    // A notice body as text: the whole body, less the NUL that closes it.
    static std::string noticeText(const Bytes& body);

    // Timing of timer_Peng in ms; end-to-end tests compress time with a shorter tick.
    static constexpr int kTickMs = 500;

    // The smallest client body: own login name, NUL.
    Bytes ownNameBody() const;

  private:
    void trace(const char* direction, const char* channel, const Bytes& datagram) const;
    bool bindUpdateSocket(const std::string& host);
    void startLogin(const Bytes& name, const Bytes& body);
    std::string clientVersion();  // Sys.ini "Ver", "1.0" when empty
    void showAwaitingVerification(const std::string& name);
    void sendAtOnce(float type, float sub, float code, const Bytes& body);  // past the tick
    Bytes pullQueuedFrame();  // what one transmission takes out of the send ring
    void retryDispatcher(const char* serverKey);
    void giveUpDispatcher();
    void keepAliveStep();
    void reverifyStep();
    void dispatcherWaitStep();
    void replyWaitStep();
    void onDispatcherFrame();
    void onLoginAccepted();
    void onPasswordRefused();
    void onLoggedInElsewhere();
    void startUpdater();
    void ensureUserFolder();
    void transmitPending();
    void sendNow(const Bytes& datagram);
    std::string readSetting(const std::string& file, const char* key);
    void writeSetting(const std::string& file, const char* key, const Bytes& value);

    std::string programFolder_;
    PlatformServices& services_;
    SessionView& view_;
    DatagramSocket& update_;
    DatagramSocket& chat_;
    Timer& timer_;
    std::mt19937 rng_;
    bool pumpStopped_ = false;  // a give-up in this tick leaves timer_Peng off
};

}  // namespace nq
