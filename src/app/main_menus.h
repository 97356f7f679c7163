#pragma once
// The main window's menus with the captions users know them by: 系统, 操作, 设置, 帮助. The
// 系统 menu is also the tray icon's popup. Then the popups of the contact area.
//
// Each item's object name is its stored name, which the contact area's rules use; the caption
// on screen leaves out what only tells two items of the same caption apart (the "1" of 添加好友1,
// the 大项 and 小项 of the menus of a list's empty part and of its items, the "c" of c创建山庄).

#include <QString>
#include <QStringList>

class QAction;
class QMenu;
class QWidget;

namespace nq::app {

struct MainMenus {
    QMenu* system = nullptr;    // 系统
    QMenu* operate = nullptr;   // 操作
    QMenu* settings = nullptr;  // 设置
    QMenu* help = nullptr;      // 帮助

    QAction* logout = nullptr;    // 注销
    QAction* myInfo = nullptr;    // 我的基本信息
    QAction* show = nullptr;      // 显示
    QAction* minimize = nullptr;  // 最小化
    QAction* exit = nullptr;      // 退出

    QAction* addFriend = nullptr;     // 添加好友
    QAction* addGroup = nullptr;      // 添加山庄
    QAction* addBlacklist = nullptr;  // 添加黑名单
    QAction* createGroup = nullptr;   // c创建山庄

    QAction* settingsWindow = nullptr;  // 系统设置
    QAction* topMost = nullptr;         // 界面置前, checkable
    QAction* autoHide = nullptr;        // 自动隐藏, checkable

    QAction* about = nullptr;  // 关于

    // Every item of every menu, in menu order, separators left out.
    QList<QAction*> all() const;
    // The item with this caption, or null.
    QAction* find(const QString& caption) const;
};

// The menus of the top bar, parented to the main window; the band's buttons open them.
MainMenus buildMainMenus(QWidget* parent);

// The contact area's popups, items in menu order. Items whose feature comes with a later window
// (profiles, the add wizard, the group windows) exist and do nothing until that window's code
// connects to them.
struct ContactMenus {
    QMenu* friendItem = nullptr;      // 我的好友: right click on a friend
    QMenu* friendsEmpty = nullptr;    // 好友大项: on the empty part of the friend list
    QMenu* blacklistItem = nullptr;   // 黑名单
    QMenu* blacklistEmpty = nullptr;  // 黑名单大项
    QMenu* strangerItem = nullptr;    // 陌生人
    QMenu* group = nullptr;           // 山庄: on a group node
    QMenu* member = nullptr;          // 山庄子项: on a member node
    QMenu* findMode = nullptr;        // 查找方式, under lvdown

    // The item of a menu by its stored name, or null.
    static QAction* item(const QMenu* menu, const QString& name);
    // The stored names of a menu's items, in menu order.
    static QStringList names(const QMenu* menu);
};

ContactMenus buildContactMenus(QWidget* parent);

}  // namespace nq::app
