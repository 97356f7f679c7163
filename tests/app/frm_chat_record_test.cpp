#include "app/frm_chat_record.h"

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QTextEdit>

#include "support/temp_dir.h"
#include "widgets/lv_buttons_h.h"

namespace nq {
namespace {

// bob has 30 records, carol 5. The first fill counts bob's pages, a choice in Combo1 counts
// carol's records instead and leaves the page index where it was. No event is processed before
// the first check: the window is filled when shown, whether or not it is ever activated.
TEST(FrmChatRecord, PageButtonsLabelAndPaneFollowTheCounters) {
    test::TempDir dir;
    const std::string file = dir.file(kRecordFile);
    for (int n = 1; n <= 35; ++n)
        appendChatRecord(file, incomingRecordLine(n <= 30 ? "bob" : "carol", "", "", "t", std::to_string(n)));
    auto* w = new app::frmChatRecord(file, "");
    w->openUnder(QRect(40, 50, 480, 400), "bob", {"carol", "dave"});
    EXPECT_EQ(w->geometry().topLeft(), QPoint(40, 450));
    EXPECT_EQ(w->Combo1->currentText(), "bob");
    EXPECT_EQ(w->Combo1->count(), 2);

    struct Step {
        int click;  // 0 or 1: that page button; 2: carol chosen in Combo1
        const char* label;
        bool prev, next;
        const char* top;  // the text of the newest record shown
    };
    const Step steps[] = {{-1, "第 1 页", false, true, "30"}, {1, "第 2 页", true, false, "10"},
                          {0, "第 1 页", false, true, "30"},  {1, "第 2 页", true, false, "10"},
                          {2, "第1页", false, true, "35"},    {1, "第 3 页", true, true, ""}};
    for (const Step& s : steps) {
        if (s.click == 2) {
            w->Combo1->setCurrentIndex(0);
            emit w->Combo1->activated(0);
        } else if (s.click >= 0) {
            w->lvButtons_H1[s.click]->click();
        }
        EXPECT_EQ(w->Label1->text(), QString::fromUtf8(s.label)) << s.click;
        EXPECT_EQ(w->lvButtons_H1[0]->isEnabled(), s.prev) << s.label;
        EXPECT_EQ(w->lvButtons_H1[1]->isEnabled(), s.next) << s.label;
        EXPECT_EQ(w->RichTextBox1->toPlainText().section('\n', 1, 1).trimmed(), s.top) << s.label;
    }
    w->close();
}

}  // namespace
}  // namespace nq
