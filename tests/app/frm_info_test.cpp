// The profile window's openers and the own profile's road from a locked view to its save.

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QTest>

#include "app/chat_windows.h"
#include "app/contact_area.h"
#include "app/frm_chat.h"
#include "app/frm_info.h"
#include "app/profile_windows.h"
#include "contacts/contacts.h"
#include "form_rig.h"
#include "widgets/lv_buttons_h.h"

namespace nq::test {
namespace {

struct InfoRig : FormRig {
    InfoRig() : FormRig(kLoggedIn) {
        tick(4);
        chat.sent.clear();
    }
    void menu(QMenu* m, const char* item) { app::ContactMenus::item(m, item)->trigger(); }
};

TEST(FrmInfo, EachOpenerAsksForThePersonItNames) {
    const std::function<void(InfoRig&)> openers[] = {
        [](InfoRig& r) { r.menu(r.form->contactMenus().friendItem, "查看好友资料"); },
        [](InfoRig& r) { r.menu(r.form->contactMenus().blacklistItem, "查看黑名单信息"); },
        [](InfoRig& r) { r.menu(r.form->contactMenus().strangerItem, "查看陌生人资料"); },
        [](InfoRig& r) { r.form->menus().myInfo->trigger(); },
        [](InfoRig& r) {
            r.form->chatWindows().open({"PTP", gbk::fromUtf8("鲍勃"), QString("与鲍勃聊天中"), 3, 0});
            auto* w = r.form->chatWindows().find(gbk::fromUtf8("与鲍勃聊天中"));
            QTest::mouseClick(w->findChild<QLabel*>("lbFrd"), Qt::LeftButton);
        },
    };
    const char* frames[] = {"3,1,4:alice|鲍勃|", "3,1,3:alice|X|", "3,1,3:alice|Y|", "3,1,3:alice|alice|",
                            "3,1,4:alice|鲍勃|"};
    for (size_t i = 0; i < std::size(openers); ++i) {
        InfoRig r;
        const char* names[] = {"鲍勃", "X", "Y"};
        for (int l = 0; l < 3; ++l) {
            r.form->contacts().MyList(l).AddItem(gbk::fromUtf8(names[l]), "", 3);
            r.form->contacts().MyList(l).setSelected(1);
        }
        openers[i](r);
        EXPECT_EQ(r.sent(), frames[i]) << i;
    }
}

// Unknown, the own profile shows locked with its save button; once cached it can be edited.
TEST(FrmInfo, TheOwnProfileIsEditableOnceCachedAndSavesAsOneMessage) {
    InfoRig r;
    r.form->menus().myInfo->trigger();
    r.sent();
    r.serve(kind::kProfile, 1, {"alice", "1",    "新手", "5",      "爱丽丝", "w1",     "hi",    "20",  "0",
                                "",      "上海", "浦东", "a@b.cn", "路1号",  "200000", "021-1", "139", "丽",
                                "复旦",  "某厂", "虎",   "A型",    "双子座", "0",      "0"});
    app::frmInfo* w = r.form->profiles().window();
    ASSERT_TRUE(w && w->isVisible() && w->comSave->isVisible());
    EXPECT_TRUE(w->txtAge->isReadOnly());
    r.form->menus().myInfo->trigger();
    ASSERT_FALSE(w->txtAge->isReadOnly());
    QTest::keyClicks(w->txtAge, "a3");
    w->comSave->click();
    EXPECT_EQ(r.sent(),
              "4,1,0:alice|爱丽丝|w1|hi|203|0|中华人民共和国|上海|浦东|a@b.cn|路1号|200000||139|丽|复旦|某厂|"
              "虎|A型|双子座|0|0|");
    if (const char* dir = std::getenv("NQ_SHOTS")) w->grab().save(QString(dir) + "/profile-own.png");
}

}  // namespace
}  // namespace nq::test
