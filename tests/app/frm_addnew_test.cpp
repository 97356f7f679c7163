// The add wizard against a scripted chat server: every step of its Tag with the frame it sends
// and what each reply does there, paging, the adds from a result, the verification text.

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QRadioButton>
#include <QTest>
#include <QTreeWidget>

#include "app/add_wizards.h"
#include "app/frm_addnew.h"
#include "app/header_band.h"
#include "app/main_frame.h"
#include "app/main_menus.h"
#include "contacts/contacts.h"
#include "form_rig.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/xp_container.h"

namespace nq::test {
namespace {

using app::frmAddnew;

// Fields written "a|b|c", each closed by a NUL on the wire.
Bytes fields(const std::string& text) {
    Bytes out;
    for (const QString& f : QString::fromStdString(text).split('|'))
        out += gbk::fromUtf8(f.toStdString()) + '\0';
    return text.empty() ? Bytes() : out;
}
std::string triples(int n, const char* third = "m3") {
    std::string s;
    for (int i = 0; i < n; ++i)
        s += (i ? "|" : "") + ("n" + std::to_string(i)) + "|a" + std::to_string(i) + "|" + third;
    return s;
}

struct WizardRig : FormRig {
    WizardRig() : FormRig(kLoggedIn) {}
    frmAddnew& open(const char* job) { return form->addWizards().open(job); }
    void reply(FrameKind k, uint16_t code, const std::string& body) {
        fromChat({.seq = 1, .type = k.type, .sub = k.sub, .code = code}, fields(body));
        tick();
    }
    std::string boxes() {
        std::string s;
        for (const auto& b : services.boxes) s += b.text;
        return s;
    }
};

const std::string kProfile = "bob|1|lv|0|鲍勃|m3|" + std::string(18, '|') + "0|0";

TEST(FrmAddnew, EveryStepSendsItsFrameAndTakesOnlyTheRepliesItWaitsFor) {
    struct Row {  // option 0: none clicked; 2 lists at once, 3 searches by nick or number
        const char* job;
        int option;
        const char *text, *sent, *tagSent;
        FrameKind reply;
        uint16_t code;
        std::string body;
        const char* tag;
        int rows;
        const char* box;
    };
    const Row rows[] = {
        {"添加好友", 0, "bob", "5,3,3:alice|bob|", "addOnefrd", kind::kFindPerson, 1, kProfile, "Addfriend",
         1, ""},
        {"添加好友", 3, "鲍勃", "5,3,4:alice|鲍勃|", "addOnefrd", kind::kFindPerson, 2, "", "addOnefrd", 0,
         "没有相关的记录，请您检查输入是否有误！"},
        {"添加好友", 0, "", "", "", kind::kFindPerson, 1, kProfile, "", 0, "请输入查找信息！"},
        {"添加好友", 0, "bob", "5,3,3:alice|bob|", "addOnefrd", kind::kFindForBlacklist, 1, kProfile,
         "addOnefrd", 0, ""},
        {"添加黑名单", 0, "bob", "6,3,3:alice|bob|", "addToBad", kind::kFindForBlacklist, 1, kProfile,
         "AddBad", 1, ""},
        {"添加黑名单", 0, "bob", "6,3,3:alice|bob|", "addToBad", kind::kFindForBlacklist, 2, "x", "addToBad",
         0, ""},
        {"添加黑名单", 0, "bob", "6,3,3:alice|bob|", "addToBad", kind::kFindPerson, 1, kProfile, "addToBad",
         0, ""},
        {"添加群", 0, "", "3,10,1:alice||", "addVlg", kind::kGroupSearch, 1, "7|棋社|carol|8|茶馆|dave",
         "addVlg", 2, ""},
        {"添加群", 3, "7", "3,10,3:alice|7|", "addVlg", kind::kGroupSearch, 2, "", "addVlg", 0,
         "没有相关的记录，请您检查输入是否有误！"},
        {"添加好友", 2, "", "3,8,0:alice|1|10|", "Addfriend", kind::kOnlinePage, 1, triples(3), "Addfriend",
         3, ""},
        {"添加黑名单", 2, "", "3,8,0:alice|1|10|", "Addfriend", kind::kOnlinePage, 1, triples(1), "Addfriend",
         1, ""},
        {"添加群", 2, "", "3,9,0:alice|1|10|", "addVlg", kind::kGroupPage, 2, "", "addVlg", 0,
         "没有相关的记录，请您检查输入是否有误！"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.job) + " " + row.sent + " " + row.body);
        WizardRig r;
        frmAddnew& w = r.open(row.job);
        w.txtName->setText(QString::fromUtf8(row.text));
        if (row.option) (row.option == 2 ? w.Option2 : w.Option3)->click();
        if (row.option != 2) w.comAdd[1]->click();
        EXPECT_EQ(r.sent(), row.sent);
        EXPECT_EQ(w.Tag().toStdString(), row.tagSent);
        EXPECT_EQ(r.session().waitReply, row.option == 2);
        r.reply(row.reply, row.code, row.body);
        EXPECT_EQ(w.Tag().toStdString(), row.tag);
        EXPECT_EQ(w.lstResult->topLevelItemCount(), row.rows);
        EXPECT_EQ(r.boxes(), row.box);
    }
}

// The online page wants exactly 10 rows for more, the group page at least 10; the next page is
// rows 11 to 20; the blacklist job pages nothing.
TEST(FrmAddnew, MoreFollowsTheRowCountAndAsksTheNextPage) {
    struct Row {
        const char* job;
        FrameKind reply;
        int triples;
        bool more;
        const char* next;
    };
    const Row rows[] = {
        {"添加好友", kind::kOnlinePage, 9, false, "3,8,0:alice|11|20|"},
        {"添加好友", kind::kOnlinePage, 10, true, "3,8,0:alice|11|20|"},
        {"添加好友", kind::kOnlinePage, 11, false, "3,8,0:alice|11|20|"},
        {"添加群", kind::kGroupPage, 9, false, "3,9,0:alice|11|20|"},
        {"添加群", kind::kGroupPage, 11, true, "3,9,0:alice|11|20|"},
        {"添加黑名单", kind::kOnlinePage, 10, true, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.job) + std::to_string(row.triples));
        WizardRig r;
        frmAddnew& w = r.open(row.job);
        w.Option2->click();
        r.sent();
        r.reply(row.reply, 1, triples(row.triples));
        EXPECT_EQ(w.comMore->isEnabled(), row.more);
        w.comMoreClick();
        EXPECT_EQ(r.sent(), row.next);
        EXPECT_EQ(w.comMore->isEnabled(), row.more && !*row.next);
    }
}

// From a result: oneself and a friend are refused with a box, others are asked for; a group
// asks for a verification text first, cut to 30 characters, and leaves its creator in NQUser.nq.
TEST(FrmAddnew, AddingFromResultsRefusesOneselfAndFriendsAndJoinsWithTheText) {
    struct Row {
        const char* job;
        std::string body;
        const char *box, *sent;
    };
    const Row rows[] = {
        {"添加好友", "爱丽丝|alice|m1", "不能添加自己！", ""},
        {"添加好友", "老友|pal|m1", "该用户已是您的好友！", ""},
        {"添加好友", "鲍勃|bob|m1", "", "5,1,0:alice|bob|"},
        {"添加黑名单", "鲍勃|bob|m1", "", "5,1,0:alice|bob|"},  // the online list adds friends
    };
    for (const Row& row : rows) {
        WizardRig r;
        r.form->contacts().MyList(0).AddItem(gbk::fromUtf8("老友"), "", 3);
        frmAddnew& w = r.open(row.job);
        w.Option2->click();
        r.sent();
        r.reply(kind::kOnlinePage, 1, row.body);
        w.comAdd[1]->click();
        EXPECT_EQ(r.boxes(), row.box);
        EXPECT_EQ(r.sent(), row.sent);
        EXPECT_EQ(w.comAdd[1]->isEnabled(), !*row.sent);
    }
    WizardRig r;
    frmAddnew& w = r.open("添加群");
    w.comAdd[1]->click();
    r.sent();
    r.reply(kind::kGroupSearch, 1, "7|棋社|carol");
    EXPECT_EQ(CIniFile(r.dir.file("alice/NQUser.nq")).GetIniKey(gbk::fromUtf8("棋社"), "Bilder"), "carol");
    w.comAdd[1]->click();
    EXPECT_TRUE(w.XPContainer1->isVisibleTo(&w));
    EXPECT_FALSE(w.lstResult->isVisibleTo(&w));
    QTest::keyClicks(w.Text1, QString(29, 'x'));
    w.Text1->insert("yz");  // a paste past the limit
    EXPECT_EQ(w.Text1->text(), QString(29, 'x') + "y");
    EXPECT_EQ(w.Label3->text(), "0");
    w.comSend->click();
    EXPECT_EQ(r.sent(), "7,5,0:alice|carol|棋社|" + std::string(29, 'x') + "y|");
    EXPECT_TRUE(w.lstResult->isVisibleTo(&w));
    // A double click on a group without a cached card asks the server for it.
    w.rowDoubleClicked();
    EXPECT_EQ(r.sent(), "3,2,0:alice|棋社|");
}

// The items that name a job open the wizard for it; comSerch goes straight to a friend search
// by the quick find mode.
TEST(FrmAddnew, MenusAndTheTopBarOpenTheJobAndComSerchSearchesAtOnce) {
    struct Row {
        const char *menu, *item, *caption, *option1;  // menu "": the top bar's add button
    };
    const Row rows[] = {
        {"", "", "添加好友", "使用用户名"},
        {"我的好友", "添加好友1", "添加好友", "使用用户名"},
        {"好友大项", "添加好友大项", "添加好友", "使用用户名"},
        {"山庄", "添加山庄1", "添加群", "使用群名称"},
        {"黑名单大项", "添加黑名单大项", "添加黑名单", "使用用户名"},
    };
    for (const Row& row : rows) {
        WizardRig r;
        if (*row.menu) {
            const auto* menu = r.form->findChild<QMenu*>(QString::fromUtf8(row.menu));
            app::ContactMenus::item(menu, QString::fromUtf8(row.item))->trigger();
        } else {
            r.form->headerBand().lvButtons_H2(app::HeaderBand::kAddFriend)->click();
        }
        frmAddnew* w = r.form->addWizards().window();
        ASSERT_TRUE(w && w->isVisible()) << row.item;
        EXPECT_EQ(w->caption(), QString::fromUtf8(row.caption));
        EXPECT_EQ(w->Option1->text(), QString::fromUtf8(row.option1));
    }
    for (const auto& [mode, frame] :
         {std::pair{"按用户名", "5,3,3:alice|bob|"}, {"按昵称", "5,3,4:alice|bob|"}}) {
        WizardRig r;
        r.form->showMainFrame();
        app::ContactMenus::item(r.form->contactMenus().findMode, QString::fromUtf8(mode))->trigger();
        r.form->mainFrame().findBox()->setText(" bob ");
        r.form->mainFrame().searchButton()->click();
        EXPECT_EQ(r.sent(), frame);
        EXPECT_EQ(r.form->addWizards().window()->Tag(), "addOnefrd");
    }
}

}  // namespace
}  // namespace nq::test
