// The room half of frmChat: what the public room's logic does to its window (member rows,
// the lines of the system, the talking controls locked while the entry is unanswered).

#include <QComboBox>

#include "app/chat_windows.h"
#include "app/frm_chat.h"
#include "widgets/i_list.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/rich_text.h"

namespace nq::app {
namespace {

// Rows of the member list: a 32-pixel head at the left, the name beside it and under the name
// the second line ("客服" for the room's staff).
constexpr int kMemberRowPx = 36;

}  // namespace

void frmChat::prepareMemberRows() {
    if (windows_.heads()) IList1->setImageList(windows_.heads());
    IList1->setItemHeight(kMemberRowPx);
    IList1->SetPos(40, 2, 40, 18, 2, 2, 2, 2);
}

void frmChat::writeSystemLine(const Bytes& text, uint32_t color) {
    RichText& pane = *revRtf;
    // The desktop's caption colour stands for the system's voice, looked up as it is written.
    const quint32 value =
        color == kActiveTitle
            ? RichText::valueFromColor(palette().color(QPalette::Active, QPalette::Highlight))
            : color;
    pane.moveToEnd();
    pane.setSelLength(0);
    pane.setSelIndent(0);
    pane.setSelFontName("宋体");
    pane.setSelFontSize(10);
    pane.setSelColor(value);
    pane.setSelUnderline(false);
    pane.setSelText(QString::fromStdString(gbk::toUtf8(text)) + "\r\n");
    pane.Refresh();
}

void frmChat::setTalkEnabled(bool enabled) {
    sndRtf->setLocked(!enabled);
    for (lvButtons_H* b : lvButtons_H2) b->setEnabled(enabled);
    comSend->setEnabled(enabled);
}

bool frmChat::talkEnabled() const {
    return comSend->isEnabled();
}

void frmChat::addAddressee(const Bytes& name) {
    const QString text = QString::fromStdString(gbk::toUtf8(name));
    if (cbHallMem->findText(text) < 0) cbHallMem->addItem(text);
}

}  // namespace nq::app
