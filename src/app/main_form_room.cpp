// Mainform and the public room: the room's logic behind the conversation windows, and the
// room-only view the game hall asks for.

#include "app/chat_windows.h"
#include "app/main_form.h"
#include "app/main_frame.h"
#include "conversation/public_room.h"

namespace nq::app {

void Mainform::attachPublicRoom() {
    room_ = std::make_unique<PublicRoom>(*session_, *contacts_, *chats_);
    chatWindows_->setPublicRoom(room_.get());
}

void Mainform::showRoomView() {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    mainFrame().showRoomOnly();
}

}  // namespace nq::app
