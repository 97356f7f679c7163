// Mainform and frmChat resized through size tables; "name:LTRB" names the edges that move with them.

#include <gtest/gtest.h>

#include <QScreen>

#include "app/chat_windows.h"
#include "app/contact_area.h"
#include "app/frm_chat.h"
#include "form_rig.h"

namespace nq::test {
namespace {

QRect at(QWidget& w, const QString& name) {
    return w.findChild<QWidget*>(name)->geometry();
}

// controls: "name:edges ..."; steps: the size asked and the size the window takes.
void resizeThrough(QWidget& w, const QString& controls, const std::vector<std::pair<QSize, QSize>>& steps) {
    const QSize design = w.size();
    std::map<QString, std::pair<QRect, QString>> was;
    for (const QString& c : controls.split(' '))
        was[c.section(':', 0, 0)] = {at(w, c.section(':', 0, 0)), c.section(':', 1)};
    for (const auto& [asked, got] : steps) {
        w.resize(asked);
        ASSERT_EQ(w.size(), got);
        const int x = got.width() - design.width(), y = got.height() - design.height();
        for (const auto& [name, d] : was) {
            const auto by = [&, e = d.second](char edge, int delta) { return e.contains(edge) ? delta : 0; };
            EXPECT_EQ(at(w, name), d.first.adjusted(by('L', x), by('T', y), by('R', x), by('B', y)))
                << name.toStdString();
        }
    }
    w.resize(design);
}

TEST(LayoutScaling, MainformAndFrmChatFollowTheirTagsWithinTheirLimits) {
    FormRig rig;
    app::Mainform& f = rig.load();
    f.resize(340, 680);  // the contact panel is made at the window's size of the moment
    f.showMainFrame();
    f.resize(300, 600);
    resizeThrough(f, "TopFrame:R txtName:R com_cancle:LR StatusBar1:TRB MyList(0):RB comSerch:LR Image1:TRB",
                  {{{360, 700}, {360, 700}}, {{250, 500}, {300, 600}}});
    f.chatWindows().open({"PTP", "bob", "与bob聊天中", 3, 0});
    app::frmChat& w = *f.chatWindows().find(gbk::fromUtf8("与bob聊天中"));
    w.show();
    resizeThrough(w, "revRtf:RB sndRtf:TRB comSend:LTRB lvButtons_H2(6):LR myFrame:B lvButtons_H1(3):LR",
                  {{{700, 560}, {700, 560}}, {{500, 400}, {560, 470}}, {{5000, 5000}, w.screen()->size()}});
    const QRect history = at(w, "revRtf");
    w.tool(app::frmChat::kNarrow).click();
    EXPECT_EQ(std::tuple(w.width(), at(w, "revRtf")), std::tuple(560 - app::frmChat::kSidePanelPx, history));
}

}  // namespace
}  // namespace nq::test
