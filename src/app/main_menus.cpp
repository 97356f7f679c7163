#include "app/main_menus.h"

#include <QAction>
#include <QMenu>

namespace nq::app {

MainMenus buildMainMenus(QWidget* parent) {
    MainMenus m;
    auto menu = [parent](const char* caption) {
        auto* mu = new QMenu(caption, parent);
        mu->setObjectName(caption);
        return mu;
    };
    auto item = [](QMenu* mu, const char* name, const char* caption = nullptr) {
        QAction* a = mu->addAction(caption ? caption : name);
        a->setObjectName(name);
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
    m.createGroup = item(m.operate, "c创建山庄", "创建山庄");

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

namespace {

// A stored name without the part that only tells it from a namesake: "添加好友1" shows as
// "添加好友", "黑名单设置大项" as "黑名单设置", "c创建山庄" as "创建山庄".
QString captionOf(const QString& name) {
    QString c = name;
    for (const char* tail : {"大项", "小项", "1"})
        if (c.endsWith(QString::fromUtf8(tail))) c.chop(QString::fromUtf8(tail).size());
    return c;
}

QMenu* popup(QWidget* parent, const char* name, std::initializer_list<const char*> items) {
    auto* m = new QMenu(parent);
    m->setObjectName(name);
    for (const char* i : items) m->addAction(captionOf(QString::fromUtf8(i)))->setObjectName(i);
    return m;
}

}  // namespace

ContactMenus buildContactMenus(QWidget* parent) {
    ContactMenus m;
    m.friendItem = popup(parent, "我的好友",
                         {"发送消息", "查看好友资料", "追踪好友", "邀请游戏", "删除好友", "设置为黑名单",
                          "添加好友1", "搜索好友"});
    m.friendsEmpty = popup(parent, "好友大项", {"添加好友大项", "搜索好友大项"});
    m.blacklistItem = popup(parent, "黑名单", {"取消黑名单", "查看黑名单信息", "黑名单设置小项"});
    m.blacklistEmpty = popup(parent, "黑名单大项", {"添加黑名单大项", "黑名单设置大项"});
    m.strangerItem = popup(parent, "陌生人",
                           {"发送陌生人消息", "加陌生人为好友", "设置为陌生人为黑名单", "查看陌生人资料"});
    m.group = popup(parent, "山庄", {"发送群消息", "查看山庄资料", "创建山庄1", "添加山庄1", "退出山庄"});
    m.member = popup(parent, "山庄子项", {"发送私人消息", "加为好友", "查看山庄成员资料"});
    m.findMode = popup(parent, "查找方式", {"按用户名", "按昵称"});
    // A radio pair that shows a check mark: the contact area keeps one of them ticked, as an
    // exclusive action group would, whose items Qt draws as radio dots instead.
    for (QAction* a : m.findMode->actions()) a->setCheckable(true);
    m.findMode->actions().front()->setChecked(true);
    return m;
}

QAction* ContactMenus::item(const QMenu* menu, const QString& name) {
    for (QAction* a : menu->actions())
        if (a->objectName() == name) return a;
    return nullptr;
}

QStringList ContactMenus::names(const QMenu* menu) {
    QStringList out;
    for (const QAction* a : menu->actions())
        if (!a->isSeparator()) out << a->objectName();
    return out;
}

}  // namespace nq::app
