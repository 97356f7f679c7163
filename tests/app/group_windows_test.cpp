// The consent round trip with each answer, the create form and the group card on a logged-in
// main window. With NQ_SHOTS set, the consent window and a card are saved there as pictures.

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QTextEdit>

#include "app/chat_windows.h"
#include "app/frm_check.h"
#include "app/frm_vlg.h"
#include "app/group_windows.h"
#include "form_rig.h"
#include "widgets/lv_buttons_h.h"

namespace nq::test {
namespace {

struct GroupRig : FormRig {
    GroupRig() : FormRig(kLoggedIn) {}
    void shoot(QWidget& w, const char* name) {
        if (const char* dir = std::getenv("NQ_SHOTS")) w.grab().save(QString("%1/%2.png").arg(dir, name));
    }
};

TEST(GroupWindows, ConsentRoundTripForEachAnswer) {
    enum Answer { Agree, Refuse, Close };
    struct Row {
        const char *what, *group;
        Answer answer;
        const char *reason, *answerSent;
        const char* reply;  // what the requester's client does with the answer forwarded
    };
    // clang-format off
    const Row rows[] = {
        {"agree", "棋友", Agree, "", "7,6,1:alice|bob|棋友| |", "7,3,0:alice|棋友|"},
        {"refuse", "棋友", Refuse, "人满了", "7,6,2:alice|bob|棋友|人满了|", "alice拒绝了您加入棋友的验证！其理由为：人满了。 "},
        {"closed", "棋友", Close, "", "7,6,2:alice|bob||", "alice拒绝了您加入棋友的验证！"},
        {"group naming the label's words", "A其验证信息", Agree, "", "7,6,1:alice|bob|| |", "7,3,0:alice|A其验证信息|"},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        GroupRig r;
        r.serve(kind::kJoinRequest, 0, {"bob", "", row.group, "让我进"});
        EXPECT_EQ(r.services.sounds.back().substr(r.services.sounds.back().rfind('/') + 1), "message.wav");
        r.desktop.click(TrayClick::Left);
        app::frmCheck* w = r.form->chatWindows().joinRequestWindow();
        ASSERT_NE(w, nullptr);
        w->Timer1Timer();
        EXPECT_EQ(w->Label1->text(), QString("bob请求加入群：%1,其验证信息为：").arg(row.group));
        EXPECT_EQ(w->Text1->text(), "让我进");
        if (row.answer == Agree && *row.group == '\xE6') r.shoot(*w, "frm_check");
        w->Text2->setText(row.reason);
        if (row.answer == Agree) w->comOK->click();
        if (row.answer == Refuse) w->comRef->click();
        if (row.answer == Close) w->close();
        EXPECT_EQ(r.sent(), row.answerSent);

        r.serve(kind::kJoinAnswer, row.answer == Agree ? 1 : 2, {"alice", "", row.group, row.reason});
        EXPECT_EQ(row.answer == Agree ? r.sent() : r.services.toasts.at(0).text, row.reply);
    }
}

TEST(GroupWindows, CreateFormAfterTheServersYesAndCardFromServerThenCache) {
    GroupRig r;
    app::GroupWindows& g = r.form->groupWindows();
    g.actions().askCreate();
    EXPECT_EQ(r.sent(), "7,10,0:alice|");
    r.serve(kind::kMayCreateGroup, 2, {"50"});
    ASSERT_EQ(r.services.boxes.size(), 1u);
    EXPECT_EQ(r.services.boxes[0].text, "对不起，建立群需要50000金币以上，您现在的财富暂时无法建立一个群。");
    r.serve(kind::kMayCreateGroup, 1, {});
    app::frmVlg* create = g.vlgWindow();
    ASSERT_NE(create, nullptr);
    EXPECT_EQ(create->txtUname->text(), "alice");
    create->comSubmitClick();
    EXPECT_EQ(r.services.boxes.back().text, "请您填写群名称！");
    create->txtVname->setText("新村");
    create->txtVinfo->setPlainText("下棋");
    create->comSubmitClick();
    EXPECT_EQ(r.sent(), "7,1,0:alice|新村|下棋|0|");

    // Asked of the server first; the second time the card comes from UserInfo.dat, with the
    // creator as the latest group roster names him.
    for (const char* creator : {"alice", "bob"}) {
        SCOPED_TRACE(creator);
        r.serve(kind::kGroupRoster, 1, {"101", "棋友", creator});
        r.sent();
        g.actions().showCard(gbk::fromUtf8("棋友"));
        const bool own = std::string(creator) == "alice";
        if (own) {
            EXPECT_EQ(r.sent(), "3,2,0:alice|棋友|");
            r.serve(kind::kGroupRecord, 0, {"101", "棋友", "周末下棋", "bob", "", "", "", "1", "1"});
        }
        app::frmVlg* card = g.vlgWindow();
        ASSERT_NE(card, nullptr);
        EXPECT_EQ(card->windowTitle(), "棋友群资料");
        EXPECT_EQ(card->txtUname->text(), creator);
        EXPECT_EQ(card->txtVinfo->toPlainText(), "周末下棋");
        EXPECT_EQ(card->txtVinfo->isEnabled(), own);
        EXPECT_EQ(card->comSubmit->caption(), own ? "保存  " : "更新  ");
        EXPECT_FALSE(card->comSubmit->isVisible() || card->lbNum->isVisible());
        if (!own) r.shoot(*card, "frm_vlg_card");
    }
}

}  // namespace
}  // namespace nq::test
