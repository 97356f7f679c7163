#include "app/profile_windows.h"

#include "app/frm_info.h"
#include "contacts/profile_cache.h"
#include "session/session.h"

namespace nq::app {

ProfileWindows::ProfileWindows(Session& session, Contacts& contacts, std::string programFolder,
                               QObject* parent)
    : QObject(parent),
      session_(session),
      programFolder_(std::move(programFolder)),
      cache_(std::make_unique<ProfileCache>(session, contacts)) {
    connect(cache_.get(), &ProfileCache::profileDue, this, &ProfileWindows::show);
}

ProfileWindows::~ProfileWindows() {
    delete window_.data();
}

frmInfo* ProfileWindows::window() const {
    return window_;
}

frmInfo& ProfileWindows::ensureWindow() {
    if (!window_) {
        window_ = new frmInfo(*cache_, programFolder_);
        window_->setAttribute(Qt::WA_DeleteOnClose);
    }
    return *window_;
}

void ProfileWindows::show(const ProfileShown& shown) {
    frmInfo& w = ensureWindow();
    w.fill(shown);
    w.show();
    w.raise();
}

void ProfileWindows::ShowProfile(const Bytes& name, int mode, bool readOnly) {
    cache_->ShowProfile(name, mode, readOnly);
}

void ProfileWindows::showOwn() {
    cache_->ShowProfile(session_.myName, ProfileCache::kByAccount, false);
    ensureWindow().setSaveVisible(true);
}

void ProfileWindows::showFromMenu(const Bytes& caption, int mode) {
    cache_->profileWanted = true;
    if (!caption.empty()) cache_->ShowProfile(caption, mode, true);
}

}  // namespace nq::app
