// The dispatcher's update order: hand over to the updater beside the program, then end.

#include "session/session.h"
#include "wire/fields.h"

namespace nq {

void Session::startUpdater() {
    Bytes fields[8];
    for (auto& f : fields) f = cutField(wire.msgBody).value_or(Bytes());
    waitDispatcher = true;

    // One "$"-closed line: what the dispatcher put last, two empty places, where we live,
    // and the fixed values the updater expects.
    std::string line =
        gbk::toUtf8(fields[7]) + "$$$" + programFolder_ + "$NQChatUpdate.exe$1$0$" + kUpdateHost + "$1080$";
    if (!services_.startDetached(updaterPath(), {line})) return;
    view_.unloadMainForm();
}

}  // namespace nq
