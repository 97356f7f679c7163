#pragma once
// TopFrame: the band across the top of the main window on a panel of the kit in the program's
// strong blue: the top bar `lvButtons_H2` (the four menus, then the add-friend and settings
// buttons), the program's icon and name, and the user's nick under it.

#include <array>

#include "widgets/xp_container.h"

class QLabel;
class QAction;

namespace nq {
class lvButtons_H;
}

namespace nq::app {

struct MainMenus;

class HeaderBand : public XPContainer {
    Q_OBJECT
  public:
    enum BarButton {
        kSystem = 0,
        kOperate = 1,
        kSettings = 2,
        kHelp = 3,
        kAddFriend = 4,
        kSettingsWindow = 5
    };
    static constexpr int kBarButtons = 6;

    explicit HeaderBand(QWidget* parent = nullptr);

    // Buttons 0 to 3 open their menu under themselves; 4 and 5 trigger the items they stand
    // for, and grey out with them, so a button never promises what its item would not do.
    void attachMenus(const MainMenus& menus);
    lvButtons_H* lvButtons_H2(int index) const { return bar_.at(static_cast<size_t>(index)); }
    // The line under the name: a greeting before login, the user's nick after.
    void setSubtitle(const QString& text);

  private:
    void followAction(lvButtons_H* button, QAction* action);

    std::array<lvButtons_H*, kBarButtons> bar_{};
    QLabel* subtitle_;
};

}  // namespace nq::app
