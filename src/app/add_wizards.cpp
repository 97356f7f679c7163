#include "app/add_wizards.h"

#include <QAction>
#include <QLineEdit>

#include "app/main_form.h"
#include "app/main_frame.h"
#include "contacts/contacts.h"
#include "widgets/lv_buttons_h.h"

namespace nq::app {

AddWizards::AddWizards(Mainform& form) : form_(form), search_(form.session()) {
    attachItems();
}

// The window refers to the search and the contact model, which end with the main window.
AddWizards::~AddWizards() {
    delete window_;
}

void AddWizards::attachItems() {
    const ContactMenus& m = form_.contactMenus();
    const std::pair<QMenu*, const char*> friendItems[] = {{m.friendItem, "添加好友1"},
                                                          {m.friendsEmpty, "添加好友大项"}};
    for (const auto& [menu, name] : friendItems) {
        QAction* item = ContactMenus::item(menu, QString::fromUtf8(name));
        connect(item, &QAction::triggered, this, [this] { open(frmAddnew::kFriendJob); });
    }
    connect(ContactMenus::item(m.group, QString::fromUtf8("添加山庄1")), &QAction::triggered, this,
            [this] { open(frmAddnew::kGroupJob); });
    connect(ContactMenus::item(m.blacklistEmpty, QString::fromUtf8("添加黑名单大项")), &QAction::triggered,
            this, [this] { open(frmAddnew::kBlacklistJob); });
    // comSerch exists once the contact frame does, and the quick find enables it only there.
    connect(&form_.contacts(), &Contacts::serverSearchEnabled, this, [this](bool on) {
        if (!on || quickSearchConnected_) return;
        quickSearchConnected_ = true;
        connect(form_.mainFrame().searchButton(), &lvButtons_H::Click, this, &AddWizards::quickSearch);
    });
}

frmAddnew& AddWizards::made() {
    if (!window_) {
        window_ = new frmAddnew(form_.session(), form_.contacts(), search_, &form_.mainFrame().heads());
        window_->showProfile = showProfile_;
        window_->showGroupCard = showGroupCard_;
    }
    return *window_;
}

frmAddnew& AddWizards::open(const char* job) {
    frmAddnew& w = made();
    // The blacklist's item names only the job; its options keep whatever they show.
    w.openAs(QString::fromUtf8(job), job != std::string_view(frmAddnew::kBlacklistJob));
    return w;
}

void AddWizards::quickSearch() {
    const QString text = form_.mainFrame().findBox()->text().trimmed();
    if (!form_.session().online || text.isEmpty()) return;
    made().searchFromMain(gbk::fromUtf8(text.toStdString()),
                          form_.mainFrame().searchMode() == MainFrame::ByName);
}

void AddWizards::setProfileOpener(std::function<void(const Bytes&, int)> show) {
    showProfile_ = std::move(show);
    if (window_) window_->showProfile = showProfile_;
}

void AddWizards::setGroupCardOpener(std::function<void(const Bytes&)> show) {
    showGroupCard_ = std::move(show);
    if (window_) window_->showGroupCard = showGroupCard_;
}

}  // namespace nq::app
