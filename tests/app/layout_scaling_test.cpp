// Mainform and frmChat resized through tables of sizes: each control keeps its design distances
// to the right and bottom edges or its place, as the window's layout says, and neither window
// goes below its minimum or (frmChat) beyond its screen.

#include <gtest/gtest.h>

#include <QScreen>

#include "app/chat_windows.h"
#include "app/contact_area.h"
#include "app/frm_chat.h"
#include "form_rig.h"

namespace nq::test {
namespace {

// Which edges of a control follow the window's right and bottom edges.
struct Follows {
    const char* name;
    bool right, bottom, left, top;
};
struct Step {
    QSize asked, got;
};

std::map<std::string, QRect> geometries(QWidget& window, const std::vector<Follows>& controls) {
    std::map<std::string, QRect> at;
    for (const Follows& c : controls) {
        auto* w = window.findChild<QWidget*>(c.name);
        at[c.name] = w ? w->geometry() : QRect();
    }
    return at;
}

// From the window's present (design) size through the steps, then back.
void resizeThrough(QWidget& window, const std::vector<Follows>& controls, const std::vector<Step>& steps) {
    const QSize design = window.size();
    const auto designAt = geometries(window, controls);
    for (const Step& s : steps) {
        window.resize(s.asked);
        ASSERT_EQ(window.size(), s.got);
        const int dx = s.got.width() - design.width(), dy = s.got.height() - design.height();
        for (const Follows& c : controls)
            EXPECT_EQ(window.findChild<QWidget*>(c.name)->geometry(),
                      designAt.at(c.name).adjusted(c.left ? dx : 0, c.top ? dy : 0, c.right ? dx : 0,
                                                   c.bottom ? dy : 0))
                << c.name << " at " << s.got.width() << "x" << s.got.height();
    }
    window.resize(design);
    EXPECT_EQ(geometries(window, controls), designAt);
}

TEST(LayoutScaling, MainformLoginAndContactPanelsFollowTheirTags) {
    FormRig rig;
    app::Mainform& f = rig.load();
    ASSERT_EQ(f.size(), QSize(300, 600));
    const std::vector<Step> steps = {
        {{360, 700}, {360, 700}}, {{250, 650}, {300, 650}}, {{420, 500}, {420, 600}}};
    resizeThrough(f,
                  {{"TopFrame", true, false, false, false},
                   {"loginFrame", true, true, false, false},
                   {"txtName", true, false, false, false},
                   {"com_cancle", true, false, true, false},
                   {"lvButtons_H2(5)", true, false, true, false},
                   {"StatusBar1", true, true, false, true}},
                  steps);
    // The contact panel, made while the window is larger, stands where its Tags put it.
    f.resize(340, 680);
    f.showMainFrame();
    const std::vector<Follows> contacts = {
        {"mainframe", true, true, false, false}, {"MyList(0)", true, true, false, false},
        {"Text1", true, false, false, false},    {"comSerch", true, false, true, false},
        {"Image1", true, true, false, true},     {"Com_tab(3)", false, false, false, false}};
    const auto larger = geometries(f, contacts);
    f.resize(300, 600);
    const auto design = geometries(f, contacts);
    for (const Follows& c : contacts)
        EXPECT_EQ(larger.at(c.name), design.at(c.name).adjusted(c.left ? 40 : 0, c.top ? 80 : 0,
                                                                c.right ? 40 : 0, c.bottom ? 80 : 0))
            << c.name;
    resizeThrough(f, contacts, steps);
}

TEST(LayoutScaling, FrmChatFollowsItsTagsWithinItsSizeLimitAndNarrows) {
    FormRig rig;
    rig.load();
    rig.login();
    rig.form->chatWindows().open({"PTP", "bob", "与bob聊天中", 3, 0});
    app::frmChat& w = *rig.form->chatWindows().find(gbk::fromUtf8("与bob聊天中"));
    w.show();
    ASSERT_EQ(w.QWidget::size(), QSize(560, 470));
    const QSize screen = w.screen()->size();
    const std::vector<Follows> controls = {{"revRtf", true, true, false, false},
                                           {"sndRtf", true, true, false, true},
                                           {"comSend", true, true, true, true},
                                           {"lvButtons_H2(6)", true, false, true, false},
                                           {"lvButtons_H2(0)", false, false, false, false},
                                           {"myFrame", false, true, false, false},
                                           {"lvButtons_H1(3)", true, false, true, false}};
    resizeThrough(w, controls,
                  {{{700, 560}, {700, 560}},
                   {{500, 400}, {560, 470}},
                   {{5000, 5000}, screen},
                   {{600, 300}, {600, 470}}});
    // Narrowed, the side panel leaves, the history keeps its width and the band's buttons stay in
    // sight; widened, everything is back.
    const auto before = geometries(w, controls);
    w.tool(app::frmChat::kNarrow).click();
    EXPECT_EQ(w.QWidget::size(), QSize(560 - app::frmChat::kSidePanelPx, 470));
    EXPECT_EQ(w.findChild<QWidget*>("revRtf")->geometry(), before.at("revRtf"));
    EXPECT_LT(w.findChild<QWidget*>("lvButtons_H1(0)")->geometry().right(), w.width());
    w.resize(300, 470);
    EXPECT_EQ(w.width(), 560 - app::frmChat::kSidePanelPx) << "the narrow width is the new minimum";
    w.tool(app::frmChat::kWiden).click();
    EXPECT_EQ(geometries(w, controls), before);
    // Widened against the screen's width, the history gives up what the window could not take.
    w.tool(app::frmChat::kNarrow).click();
    w.resize(screen.width() - 100, 470);
    w.tool(app::frmChat::kWiden).click();
    EXPECT_EQ(w.width(), screen.width());
    const QWidget* side = w.findChild<QWidget*>("myFrame")->parentWidget()->parentWidget();
    EXPECT_EQ(w.findChild<QWidget*>("revRtf")->geometry().right() + 1 + 4, side->x()) << "its margin of 4";
}

}  // namespace
}  // namespace nq::test
