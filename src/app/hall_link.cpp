#include "app/hall_link.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "app/add_wizards.h"
#include "app/chat_windows.h"
#include "app/main_form.h"
#include "contacts/contacts.h"
#include "desktop/hall_listener.h"
#include "session/session.h"
#include "session/startup.h"

namespace nq::app {
namespace {

void complain(const std::string& line) {
    std::fprintf(stderr, "%s\n", line.c_str());
}

}  // namespace

HallLink::HallLink(Mainform& form, QObject* parent)
    : QObject(parent), form_(form), actions_(form.session(), form.contacts()) {
    connect(&form.contacts(), &Contacts::friendRosterLoaded, this, [this] {
        if (form_.session().hallStart) launch(form_.session().hallCommand);
    });
}

HallLink::~HallLink() = default;

void HallLink::listen() {
    if (listener_) return;
    const unsigned uid = getuid();
    const std::string folder = hallSocketFolder(std::getenv("XDG_RUNTIME_DIR"), uid);
    if (const std::string why = preparePrivateFolder(folder, uid); !why.empty()) {
        complain("nqchat: no hall socket: " + folder + ": " + why);
        return;
    }
    listener_ = std::make_unique<HallListener>(hallSocketPath(folder, form_.session().programFolder()), uid,
                                               &complain);
    switch (listener_->listen()) {
        case HallListener::Outcome::Listening:
            connect(listener_.get(), &HallListener::requested, this, &HallLink::handle);
            return;
        case HallListener::Outcome::AlreadyRunning:
            complain("nqchat: another nqchat of this program folder takes the hall's requests");
            break;
        case HallListener::Outcome::Failed:
            break;
    }
    listener_.reset();
}

void HallLink::restoreMainWindow() {
    form_.setWindowState(form_.windowState() & ~Qt::WindowMinimized);
    form_.show();
    form_.raise();
}

void HallLink::launch(int mode) {
    switch (mode) {
        case kAddFriend:
            restoreMainWindow();
            form_.addWizards().open("添加好友");
            break;
        case kRoomView:
            restoreMainWindow();
            if (roomView_) roomView_();
            break;
        case kConversation:
            actions_.openConversation(form_.chatWindows());
            break;
        default:
            break;
    }
}

void HallLink::handle(const HallRequest& request) {
    switch (request.message) {
        case HallMessage::AddFriends:
            actions_.addFriends();
            break;
        case HallMessage::AddToBlacklist:
            actions_.addToBlacklist();
            break;
        case HallMessage::Exit:
            form_.exitProgram();
            break;
        case HallMessage::ShowOrMinimise:
            if (form_.isMinimized()) {
                restoreMainWindow();
            } else {
                form_.showMinimized();
            }
            break;
        case HallMessage::RoomView:
            launch(kRoomView);
            break;
        case HallMessage::OpenConversation:
            launch(kConversation);
            break;
        case HallMessage::Start:
            handOver(request.startLine);
            break;
    }
}

// A second nqchat for this program folder was started with a start line. The session that runs
// stays: logged in, the wish applies now; logging in, it applies when the friend list comes;
// logged out, the line logs in as it would have at the start.
void HallLink::handOver(const std::string& startLine) {
    const std::optional<HallStart> hall = parseHallLine(gbk::fromUtf8(startLine));
    if (!hall) return;
    Session& s = form_.session();
    restoreMainWindow();
    if (s.online) {
        launch(hall->command);
    } else if (s.waitDispatcher || s.waitReply) {
        s.hallStart = true;
        s.hallCommand = hall->command;
    } else {
        s.startHallLogin(*hall);
    }
}

}  // namespace nq::app
