#pragma once
// The game hall's side of the main window: the start line's launchMode once the friend list is
// in, and the hall's requests on the hall socket (listened on from the end of the load), each
// acted on as its window message was: lists from nqtemp.nq, exit, show or minimise, the room
// view, a conversation, and the start line a second nqchat hands over.

#include <QObject>
#include <functional>
#include <memory>
#include <string>

#include "conversation/hall_actions.h"
#include "desktop/hall_socket.h"

namespace nq {
class HallListener;
}

namespace nq::app {

class Mainform;

class HallLink : public QObject {
    Q_OBJECT
  public:
    // What a launchMode does once the friend list is in.
    enum LaunchMode { kNoWish = 0, kAddFriend = 1, kRoomView = 2, kConversation = 3 };

    explicit HallLink(Mainform& form, QObject* parent = nullptr);
    ~HallLink() override;

    // The room-only view; until one is attached, mode 2 and room-view only restore the window.
    void setRoomView(std::function<void()> show) { roomView_ = std::move(show); }
    // Opens the hall socket for this program folder; a refusal says why on stderr.
    void listen();
    [[nodiscard]] HallListener* listener() const { return listener_.get(); }

    void launch(int mode);
    void handle(const HallRequest& request);
    HallActions& actions() { return actions_; }

  private:
    void restoreMainWindow();
    void handOver(const std::string& startLine);

    Mainform& form_;
    HallActions actions_;
    std::function<void()> roomView_;
    std::unique_ptr<HallListener> listener_;
};

}  // namespace nq::app
