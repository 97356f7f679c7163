#include "app/group_windows.h"

#include <QAction>

#include "app/chat_windows.h"
#include "app/frm_chat.h"
#include "app/frm_vlg.h"
#include "app/main_form.h"
#include "app/main_frame.h"
#include "contacts/contacts.h"
#include "conversation/chat_mode.h"
#include "widgets/contact_tree_view.h"
#include "widgets/lv_buttons_h.h"

namespace nq::app {

namespace {
constexpr int kCreateButton = 3;  // lvButtons_H1(3) on the groups page
}  // namespace

GroupWindows::GroupWindows(Mainform& form) : form_(form), actions_(form.session(), form.contacts()) {
    form.chatWindows().setGroupActions(&actions_);
    connect(&actions_, &GroupActions::createFormDue, this, [this] {
        frmVlg& w = freshVlg();
        w.show();
        w.raise();
    });
    connect(&actions_, &GroupActions::cardDue, this, &GroupWindows::showCard);
    connect(&actions_, &GroupActions::createButtonEnabled, this, [this](bool on) {
        if (frame_) frame_->pageButton(kCreateButton)->setEnabled(on);
    });
    connectMenus();
}

GroupWindows::~GroupWindows() {
    form_.chatWindows().setGroupActions(nullptr);
    if (vlg_) vlg_->close();
}

frmVlg* GroupWindows::vlgWindow() const {
    return vlg_;
}

void GroupWindows::frameMade(MainFrame& frame) {
    frame_ = &frame;
    lvButtons_H* create = frame.pageButton(kCreateButton);
    create->setEnabled(true);
    connect(create, &lvButtons_H::Click, &actions_, &GroupActions::askCreate);
}

void GroupWindows::connectMenus() {
    const ContactMenus& menus = form_.contactMenus();
    const auto on = [this, &menus](const char* name, std::function<void()> action) {
        connect(ContactMenus::item(menus.group, QString::fromUtf8(name)), &QAction::triggered, this,
                [action = std::move(action)] { action(); });
    };
    on("查看山庄资料", [this] {
        const Bytes group = selectedGroup();
        if (!group.empty()) actions_.showCard(group);
    });
    on("创建山庄1", [this] { actions_.askCreate(); });
    on("退出山庄", [this] {
        const Bytes group = selectedGroup();
        if (!group.empty()) actions_.leave(group);
    });
}

Bytes GroupWindows::selectedGroup() const {
    if (!frame_) return {};
    return form_.contacts().MyTree().text(frame_->tree()->selectedNode());
}

frmVlg& GroupWindows::freshVlg() {
    if (vlg_) vlg_->close();
    vlg_ = new frmVlg(actions_, form_.session().myName);
    return *vlg_;
}

// A reply for a group whose conversation is open only refreshes that window's notice.
void GroupWindows::showCard(const Bytes& group, bool fromReply) {
    const GroupCard card = actions_.cachedCard(group);
    if (fromReply) {
        if (frmChat* chat = form_.chatWindows().find(groupCaption(group))) {
            chat->setGroupText(QString::fromStdString(gbk::toUtf8(card.info)));
            return;
        }
    }
    frmVlg& w = freshVlg();
    w.showCard(card, form_.session().myName);
    w.show();
    w.raise();
}

}  // namespace nq::app
