#pragma once
// The main window's menus with the captions users know them by: 系统, 操作, 设置, 帮助. The
// 系统 menu is also the tray icon's popup.

#include <QString>

class QAction;
class QMenu;
class QMenuBar;

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

MainMenus buildMainMenus(QMenuBar* bar);

}  // namespace nq::app
