#pragma once
// The profile model of a session and its one window: frmInfo is made when a profile is first
// due (or when the own profile asks for its save button before the record is in) and shown
// again for every later profile until it is closed.

#include <QObject>
#include <QPointer>
#include <memory>
#include <string>

#include "wire/gbk.h"

namespace nq {
class Contacts;
class ProfileCache;
class Session;
struct ProfileShown;
}  // namespace nq

namespace nq::app {

class frmInfo;

class ProfileWindows : public QObject {
    Q_OBJECT
  public:
    ProfileWindows(Session& session, Contacts& contacts, std::string programFolder,
                   QObject* parent = nullptr);
    ~ProfileWindows() override;

    ProfileCache& cache() { return *cache_; }
    // The shared road to a profile, read-only unless it is the own one (see showOwn).
    void ShowProfile(const Bytes& name, int mode, bool readOnly);
    // 我的基本信息: the own profile, editable once its record is cached, with comSave.
    void showOwn();
    // A menu item naming a person by the caption it was opened on: the window is wanted even
    // when the caption is empty and nothing is asked.
    void showFromMenu(const Bytes& caption, int mode);

    [[nodiscard]] frmInfo* window() const;

  private:
    frmInfo& ensureWindow();
    void show(const ProfileShown& shown);

    Session& session_;
    std::string programFolder_;
    std::unique_ptr<ProfileCache> cache_;
    QPointer<frmInfo> window_;
};

}  // namespace nq::app
