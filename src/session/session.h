#pragma once
// The state of one running client: the rings and codec state, the pump's counters and flags,
// the login state and the identity of the user. The main window owns the one instance; the
// names of the members are the names the protocol's timing rules are written in.
//
// Later subsystems join the session's fixed sequences through its signals. They are emitted
// synchronously at their point in the sequence, so a subscriber must live in the session's
// thread (the default connection then calls it at once, in the order of connection).

#include <QObject>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include "session/dispatch.h"
#include "session/platform_services.h"
#include "session/session_view.h"
#include "session/startup.h"
#include "session/transport.h"
#include "store/ini_file.h"
#include "wire/packet.h"

namespace nq {

// A yes-or-no question put to every subscriber of a signal at once: the answer is yes when
// any of them says so, and no when none does (or nobody listens).
class YesNoQuery {
  public:
    void answerYes() { yes_ = true; }
    [[nodiscard]] bool yes() const { return yes_; }

  private:
    bool yes_ = false;
};

class Session : public QObject {
    Q_OBJECT
  public:
    static constexpr const char* kPasswordPlaceholder = "31415926";
    static constexpr int kDispatcherPort = 4000;
    static constexpr int kChatPortOffset = 321;  // the chat socket binds localPort + 321
    static constexpr int kPortStepOnConflict = 123;
    // The start picks localPort in 7000..7999; a walk past the top of the range comes back there.
    static constexpr int kFirstLocalPort = 7000;
    static constexpr int kLocalPortBand = 1000;
    static constexpr const char* kAppTitle = "珀岚聊天";
    // The built-in dispatcher host, for a Sys.ini without "Server".
    static constexpr const char* kDefaultServer = "127.0.0.1";
    // The update host handed to the updater; it is the updater's business what answers there.
    static constexpr const char* kUpdateHost = "update.nqchat.invalid";
    // Timing of timer_Peng in ms; end-to-end tests compress time with a shorter tick.
    static constexpr int kTickMs = 500;

    Session(std::string programFolder, PlatformServices& services, SessionView& view,
            DatagramSocket& winSock_Update, DatagramSocket& SocketChat, Timer& timer_Peng,
            QObject* parent = nullptr);
    Q_DISABLE_COPY_MOVE(Session)

    // What the codec shares with the pump: rings, numbering, session stamp, the send gate, and
    // the record (head, msgBody) of the frame being handled.
    WireState wire;

    // ---- pump state (counters in ticks) ----
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

    // The one shared accessor, for the code whose effect depends on the file it was pointed at
    // last: the tick and the message family 2 point it at the user's NQUser.nq. Everything
    // else opens the file it means at the call.
    CIniFile ini;
    DispatchTable handlers;
    bool traceFrames = false;  // --trace: every datagram in and out to stderr

    // ---- paths in the program folder ----
    const std::string& programFolder() const { return programFolder_; }
    // Sounds, pictures and faces: the program folder unless an install keeps them apart
    // (read-only under /usr/share while the program folder is the user's own).
    const std::string& assetFolder() const { return assetFolder_.empty() ? programFolder_ : assetFolder_; }
    void setAssetFolder(std::string folder) { assetFolder_ = std::move(folder); }
    std::string sysIni() const;
    std::string userIni() const;
    std::string userFolder() const;                     // <program folder>/<myName>
    std::string userFile(std::string_view name) const;  // a file in userFolder()
    std::string soundPath(const std::string& file) const;
    std::string updaterPath() const;

    PlatformServices& services() { return services_; }
    SessionView& view() { return view_; }
    DatagramSocket& winSock_Update() { return update_; }
    DatagramSocket& SocketChat() { return chat_; }
    Timer& timer_Peng() { return timer_; }

    // Start-up values: rings, counters and flags as at process start; a fresh local port.
    void InitGlobals();
    // A subscriber of unreadScanDue ends the tick there: the steps behind the scan (the blink
    // counter's wrap, keep-alive, time-outs) wait for the next tick, and the timer runs on.
    void endTickAfterScan() { tickEndedByScan_ = true; }

    // ---- the pump ----
    void tick();
    void chatDataArrival(const Bytes& datagram);
    void chatError(SocketError error);
    void updateDataArrival(const Bytes& datagram);
    void HandleServerMessage();

    // Queues a frame: stores the body in sendBody and appends the frame to the send ring.
    void queueFrame(FrameKind frame, uint16_t frameCode, const Bytes& body);
    // The same for senders that respect the gate: false (and nothing queued) while it is shut.
    [[nodiscard]] bool queueFrameGated(FrameKind frame, uint16_t frameCode, const Bytes& body);

    // ---- login panel and session end ----
    // The end of the main window's load: boxes, automatic login, the hall's command line, and
    // then the hall link starts.
    void restoreLoginPanel(const std::string& commandLine);
    // A start line's login, without a click: at the load, or handed over by a second nqchat.
    void startHallLogin(const HallStart& hall);
    void comLoginClick();
    void comCancleClick();
    void remPwdClicked(bool checked);
    void autoRunClicked(bool checked);
    void logout();  // 注销
    void sendQuit();
    void sendQuitRoom();
    // The session's part of the main window's unload: quit frames and the hotkey. The window
    // then writes its position, removes the tray icon and unloads the other windows, and calls
    // finishUnload().
    void unload();
    void finishUnload();  // the last step: the chat record closes

    // Asks the subscribers whether the public room is open.
    [[nodiscard]] bool inPublicRoom();

    // Re-seeds the generator from the clock, as a direct-link set-up does.
    void reseed();
    // A notice body as text: the whole body, less the NUL that closes it.
    static std::string noticeText(const Bytes& body);

    // The smallest client body: own login name, NUL.
    Bytes ownNameBody() const;

  signals:
    // A login is accepted and the user's folder exists: fill the lists from the cache. The
    // session queues the friend roster request right after, so subscribers do not.
    void cachedListsDue();
    // The end of an accepted login: register the hotkey stored in User.ini.
    void hotkeyRegistrationDue();
    // Every tick, after the traffic: blink while messages wait.
    void unreadScanDue();
    // InitGlobals ran: state kept elsewhere that starts with the session starts again.
    void globalsReset();
    // Exit while online, right after the quit frame: forget who was online.
    void saveQuitDue();
    // Exit, once the public room is left: the hotkey goes.
    void hotkeyReleaseDue();
    // The last step of the exit, after every other window is unloaded.
    void recordFileCloseDue();
    // The end of the start-up: from here on the game hall may drive the client.
    void hallLinkStartDue();
    // 注销 has unloaded the other windows: forget the session's windows and lists.
    void loggedOut();
    // Exit: a subscriber with the public room open answers yes, and the leave frame goes out.
    void publicRoomQuery(nq::YesNoQuery* query);

  private:
    void trace(const char* direction, const char* channel, const Bytes& datagram) const;
    void registerSessionLeaves();
    [[nodiscard]] bool bindUpdateSocket(const std::string& host);
    [[nodiscard]] bool bindChatSocket(const Bytes& host, uint16_t port);
    void startLogin(const Bytes& name, const Bytes& body);
    std::string clientVersion();  // Sys.ini "Ver", "1.0" when empty
    void showAwaitingVerification(const std::string& name);
    void sendAtOnce(FrameKind frame, uint16_t frameCode, const Bytes& body);  // past the tick
    Bytes pullQueuedFrame();  // what one transmission takes out of the send ring
    void retryDispatcher(std::string_view serverKey);
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
    static Bytes readSetting(const std::string& file, std::string_view key);
    static void writeSetting(const std::string& file, std::string_view key, std::string_view value);

    std::string programFolder_;
    std::string assetFolder_;  // empty: the program folder
    PlatformServices& services_;
    SessionView& view_;
    DatagramSocket& update_;
    DatagramSocket& chat_;
    Timer& timer_;
    std::mt19937 rng_;
    bool pumpStopped_ = false;  // a give-up in this tick leaves timer_Peng off
    bool tickEndedByScan_ = false;
};

}  // namespace nq
