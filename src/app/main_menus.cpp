#include "app/main_menus.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

namespace nq::app {

MainMenus buildMainMenus(QMenuBar* bar) {
    MainMenus m;
    auto menu = [bar](const char* caption) {
        QMenu* mu = bar->addMenu(caption);
        mu->setObjectName(caption);
        return mu;
    };
    auto item = [](QMenu* mu, const char* caption) {
        QAction* a = mu->addAction(caption);
        a->setObjectName(caption);
        return a;
    };

    m.system = menu("系统");
    m.logout = item(m.system, "注销");
    m.myInfo = item(m.system, "我的基本信息");
    m.show = item(m.system, "显示");
    m.minimize = item(m.system, "最小化");
    m.system->addSeparator();
    m.exit = item(m.system, "退出");

    m.operate = menu("操作");
    m.addFriend = item(m.operate, "添加好友");
    m.addGroup = item(m.operate, "添加山庄");
    m.addBlacklist = item(m.operate, "添加黑名单");
    m.createGroup = item(m.operate, "c创建山庄");

    m.settings = menu("设置");
    m.settingsWindow = item(m.settings, "系统设置");
    m.settings->addSeparator();
    m.topMost = item(m.settings, "界面置前");
    m.topMost->setCheckable(true);
    m.autoHide = item(m.settings, "自动隐藏");
    m.autoHide->setCheckable(true);

    m.help = menu("帮助");
    m.about = item(m.help, "关于");
    return m;
}

QList<QAction*> MainMenus::all() const {
    QList<QAction*> out;
    for (QMenu* mu : {system, operate, settings, help})
        for (QAction* a : mu->actions())
            if (!a->isSeparator()) out.push_back(a);
    return out;
}

QAction* MainMenus::find(const QString& caption) const {
    for (QAction* a : all())
        if (a->text() == caption) return a;
    return nullptr;
}

}  // namespace nq::app
