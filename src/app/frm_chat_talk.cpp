// The talking half of frmChat: sending by button and keys, the look of the send box, faces,
// the delivery of waiting lines into the history pane, and the links found there.

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>

#include "app/chat_windows.h"
#include "app/frm_chat.h"
#include "contacts/contacts.h"
#include "contacts/group_actions.h"
#include "contacts/profile_cache.h"
#include "conversation/chat_manager.h"
#include "conversation/file_request.h"
#include "session/session.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "widgets/i_list.h"
#include "widgets/rich_text.h"

namespace nq::app {
namespace {

QString qs(const Bytes& gbk) {
    return QString::fromStdString(gbk::toUtf8(gbk));
}
Bytes toGbk(const QString& text) {
    return gbk::fromUtf8(text.toStdString());
}

// The history pane's header lines: own lines in blue, received ones in dark green, both in the
// fixed 宋体 10 whatever the line's own look.
constexpr quint32 kOwnHeader = 0xFF0000;
constexpr quint32 kPeerHeader = 0x408000;
constexpr int kTextIndentTwips = 200;

void startHeader(RichText& pane, quint32 color) {
    pane.moveToEnd();
    pane.setSelLength(0);
    pane.setSelIndent(0);
    pane.setSelFontName("宋体");
    pane.setSelFontSize(10);
    pane.setSelColor(color);
    pane.setSelUnderline(false);
}

}  // namespace

// ---- delivery ----

void frmChat::wakeDelivery() {
    if (!Timer1.isActive()) Timer1.start();
}

void frmChat::deliverOne() {
    const std::optional<IncomingLine> line = windows_.chat().takeFor(lbFrdCaption());
    if (!line) {
        Timer1.stop();  // the queue wakes us when a line comes
        return;
    }
    render(*line);
}

void frmChat::render(const IncomingLine& line) {
    RichText& pane = *revRtf;
    pane.beginWrite();
    startHeader(pane, kPeerHeader);
    Bytes header = line.sender + " (" + line.time + ")";
    pane.setSelText(qs(header) + "\r\n");
    pane.moveToEnd();
    const int from = pane.textLength();
    pane.setSelIndent(kTextIndentTwips);
    pane.setSelFontName(qs(line.look.font));
    pane.setSelFontSize(line.look.size);
    pane.setSelColor(static_cast<quint32>(line.look.color));
    Faces& faces = windows_.faces();
    for (const FaceRun& run : faces.TransForm(line.text)) {
        if (run.face > 0)
            pane.insertFace(run.face, QString::fromStdString(faces.facePath(run.face)));
        else
            pane.setSelText(qs(run.text));
    }
    pane.setSelText("\r\n");
    pane.endWrite();
    pane.moveToEnd();
    markLinks(from);
}

// ---- sending ----

void frmChat::comSendClick() {
    if (gbkLength(toGbk(sndRtf->Text())) > 1000) {
        windows_.session().services().messageBox("发送内容超过限制！", "", BoxButtons::Ok, BoxIcon::None);
        return;
    }
    if (sndRtf->Text().isEmpty()) {
        sndRtf->setFocus();
        return;
    }
    if (!windows_.session().online) {
        writeOffline();
        return;
    }
    send();
}

void frmChat::sendByKeys() {
    if (sndRtf->Text().isEmpty()) {
        windows_.session().services().messageBox("发送消息不能为空！", "提示", BoxButtons::Ok,
                                                 BoxIcon::Critical);
        return;
    }
    send();
}

void frmChat::writeOffline() {
    startHeader(*revRtf, kOwnHeader);
    revRtf->setSelText("与服务器断开连接...程序将自动重新连接服务器，请稍后...");
    revRtf->Refresh();
}

void frmChat::send() {
    sndRtf->setSelLength(0);
    sndRtf->setSelText(" ");
    const std::u16string text = sndRtf->Text().toStdU16String();
    const QList<int> numbers = sndRtf->faceNumbers();
    const std::vector<int> faceNumbers(numbers.begin(), numbers.end());
    Faces& faces = windows_.faces();
    OutgoingLine line;
    line.mode = chatMode;
    line.lbFrd = lbFrdCaption();
    line.look.font = toGbk(sndRtf->SelFontName());
    line.look.size = static_cast<float>(sndRtf->SelFontSize());
    line.look.color = static_cast<int32_t>(sndRtf->SelColor());
    line.text = faces.BuildMessageString({text, faceNumbers});
    // Delivery stops while the line is written, so that a received line cannot slip between
    // the header and the text of this one.
    const bool delivering = Timer1.isActive();
    Timer1.stop();
    const bool sent = windows_.chat().SndMsg(line, [this] { addTorevRtf(); });
    if (delivering) Timer1.start();
    if (sent) faces.resetFaceTagCount();
    prevFormatText.clear();
}

void frmChat::addTorevRtf() {
    Session& s = windows_.session();
    const bool room = chatMode == ChatMode::MM;
    const auto now = s.services().now();
    startHeader(*revRtf, kOwnHeader);
    const Bytes header =
        (room ? s.myName : s.myNick) + " (" + (room ? formatTimeOfDay(now) : formatDateTime(now)) + ")";
    revRtf->setSelText(qs(header) + "\r\n");
    revRtf->Refresh();
    revRtf->moveToEnd();
    const int from = revRtf->textLength();
    revRtf->setSelLength(0);
    revRtf->insertFragment(sndRtf->contentFragment());
    revRtf->setSelStart(from);
    revRtf->setSelLength(revRtf->textLength() - from);
    revRtf->setSelIndent(kTextIndentTwips);
    revRtf->moveToEnd();
    revRtf->setSelText("\r\n");
    sndRtf->clear();
    sndRtf->setSelStart(0);
    sndRtf->setFocus();
    markLinks(from);
}

// ---- keys and the look of the box ----

void frmChat::onKeyDown(QKeyEvent* event, bool* eaten) {
    const Qt::KeyboardModifiers mods =
        event->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier);
    const int key = event->key();
    if (mods == Qt::AltModifier && key == Qt::Key_S) {
        sendByKeys();
        *eaten = true;
    } else if (mods == Qt::AltModifier && key == Qt::Key_C) {
        close();
        *eaten = true;
    } else if (mods == Qt::ControlModifier) {
        ctrlDown_ = true;
        if (key == Qt::Key_V && QApplication::clipboard()->mimeData()->hasImage())
            QApplication::clipboard()->clear();
    }
    if (key == Qt::Key_Backspace || key == Qt::Key_Delete) {
        const QList<int> numbers = sndRtf->faceNumbers();
        const std::vector<int> faces(numbers.begin(), numbers.end());
        const std::u16string text = sndRtf->Text().toStdU16String();
        windows_.faces().onDeleteKeyDown(prevFormatText, {text, faces});
    }
}

void frmChat::onKeyPress(int keyAscii, bool* eaten) {
    if (keyAscii == 10 && ctrlDown_) {
        *eaten = true;
        ctrlDown_ = false;
        sendByKeys();
    }
}

void frmChat::onKeyUp(QKeyEvent* event) {
    if (event->key() == Qt::Key_Control) ctrlDown_ = false;
    const bool ctrlEnter = (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) &&
                           (event->modifiers() & Qt::ControlModifier);
    if (ctrlEnter && !windows_.inputMethodActive()) sndRtf->setSelStart(1);
}

void frmChat::applyBoxStyle() {
    const LineLook& look = windows_.boxLook();
    const QString font = qs(look.font);
    // Text that only inherits the box's font would lose its look on the way to the history pane.
    if (sndRtf->SelLookIsOwn() && sndRtf->SelFontName() == font && sndRtf->SelFontSize() == look.size &&
        sndRtf->SelColor() == static_cast<quint32>(look.color))
        return;
    const QSignalBlocker quiet(sndRtf);
    sndRtf->setSelStart(0);
    sndRtf->setSelLength(sndRtf->textLength());
    sndRtf->setSelFontName(font);
    sndRtf->setSelFontSize(look.size);
    sndRtf->setSelColor(static_cast<quint32>(look.color));
    sndRtf->moveToEnd();
}

void frmChat::ReFreshTextInDown() {
    LineLook& look = windows_.boxLook();
    if (!FontSel->currentText().isEmpty()) look.font = toGbk(FontSel->currentText());
    bool ok = false;
    const double points = size->currentText().toDouble(&ok);
    if (ok && points > 0) look.size = static_cast<float>(points);
    look.color = static_cast<int32_t>(color_);
    QFont f(qs(look.font));
    f.setPointSizeF(look.size);
    f.setBold(false);
    sndRtf->setFont(f);
    applyBoxStyle();
}

void frmChat::OnFaceListClicked(int face) {
    Faces& faces = windows_.faces();
    const auto box = [this] {
        const QList<int> numbers = sndRtf->faceNumbers();
        return SendBoxSnapshot{sndRtf->Text().toStdU16String(),
                               std::vector<int>(numbers.begin(), numbers.end())};
    };
    const SendBoxSnapshot before = box();
    if (sndRtf->insertFace(face, QString::fromStdString(faces.facePath(face)))) {
        const SendBoxSnapshot after = box();
        faces.InsertFace(face, before.view(), after.view());
    }
    ListView1->hide();
    ListView1->lower();
    sndRtf->moveToEnd();
    sndRtf->setFocus();
}

// ---- links ----

void frmChat::markLinks(int fromChar) {
    RichText& pane = *revRtf;
    const QString lower = pane.Text().toLower();
    const int selStart = pane.SelStart();
    for (const char* pattern : ChatWindows::kLinkPatterns) {
        const QString p = QString::fromUtf8(pattern);
        int a = lower.indexOf(p, std::max(0, fromChar));
        while (a >= 0) {
            int b = lower.indexOf(' ', a);
            const int end = b < 0 ? static_cast<int>(lower.size()) : b;
            // A link ends at the line's end too: the pane's own paragraph marks are no address.
            const int cr = lower.indexOf('\r', a);
            const int stop = cr >= 0 && cr < end ? cr : end;
            pane.setSelStart(a);
            pane.setSelLength(stop - a);
            const QString text = pane.SelText();
            pane.setSelColor(0xFF0000);
            pane.setSelUnderline(true);
            windows_.linkTable.push_back({a, stop, text});
            a = lower.indexOf(p, stop);
        }
    }
    pane.setSelStart(selStart);
    pane.moveToEnd();
}

bool frmChat::eventFilter(QObject* watched, QEvent* event) {
    if (watched == sndRtf && event->type() == QEvent::ShortcutOverride) {
        // Alt+S and Alt+C in the box are its own keys (they skip the send button's checks),
        // not the buttons' mnemonics, which serve when the focus is elsewhere.
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() == Qt::AltModifier && (key->key() == Qt::Key_S || key->key() == Qt::Key_C)) {
            event->accept();
            return true;
        }
    } else if (watched == lbFrd) {
        if (event->type() == QEvent::MouseButtonRelease) lbFrdClicked();
        if (event->type() == QEvent::Enter || event->type() == QEvent::Leave) {
            QFont f = lbFrd->font();
            f.setUnderline(event->type() == QEvent::Enter);
            lbFrd->setFont(f);
        }
    } else if (watched == revRtf->viewport()) {
        const auto linkAt = [this](QPoint at, bool click) -> const LinkRecord* {
            const int p = revRtf->charFromPos(at);
            const auto& table = windows_.linkTable;
            for (auto it = table.rbegin(); it != table.rend(); ++it) {
                // The click takes one character less at the start than the pointer shows.
                if (click ? (it->start < p && p < it->end) : (it->start <= p && p < it->end)) return &*it;
            }
            return nullptr;
        };
        if (event->type() == QEvent::MouseMove) {
            const auto* me = static_cast<QMouseEvent*>(event);
            revRtf->viewport()->setCursor(linkAt(me->pos(), false) ? Qt::PointingHandCursor
                                                                   : Qt::IBeamCursor);
        } else if (event->type() == QEvent::MouseButtonRelease) {
            const auto* me = static_cast<QMouseEvent*>(event);
            if (me->button() == Qt::LeftButton && !revRtf->textCursor().hasSelection())
                if (const LinkRecord* link = linkAt(me->pos(), true))
                    windows_.session().services().openUrl(link->text.toStdString());
        }
    }
    return QWidget::eventFilter(watched, event);
}

// ---- the member list and the name ----

void frmChat::memberClicked() {
    const int row = members_.Selected();
    if (row < 1 || row > members_.count()) return;
    memberName_ = members_.Item(row).Caption;
    memberHead_ = members_.Item(row).icon;
    if (chatMode == ChatMode::MM && memberName_ != windows_.session().myName) {
        const QString name = qs(memberName_);
        if (cbHallMem->findText(name) < 0) cbHallMem->addItem(name);
        cbHallMem->setCurrentText(name);
    }
}

void frmChat::memberDoubleClicked() {
    memberClicked();
    if (memberName_.empty() || memberName_ == windows_.session().myName) return;
    int head = memberHead_;
    if (head > Contacts::kOfflineShift) head -= Contacts::kOfflineShift;
    windows_.openMemberChat(memberName_, head);
}

void frmChat::lbFrdClicked() {
    // A person's window names him by nick, a member's window by account.
    if (chatMode == ChatMode::PTP || chatMode == ChatMode::TUN) {
        windows_.showProfile(lbFrdCaption(),
                             chatMode == ChatMode::PTP ? ProfileCache::kByNick : ProfileCache::kByAccount);
        return;
    }
    // A group shows its card.
    if (chatMode != ChatMode::OTM) return;
    if (GroupActions* groups = windows_.groupActions()) groups->showCard(lbFrdCaption());
}

void frmChat::setGroupText(const QString& text) {
    txtVinfo->setPlainText(text);
}

void frmChat::chooseFileToSend() {
    fileChosen(QFileDialog::getOpenFileName(this, "请选择一个文件发送", fileDialogName_, "All Files (*)"));
}

void frmChat::fileChosen(const QString& path) {
    if (!path.isEmpty()) fileDialogName_ = path;
    if (fileDialogName_.isEmpty()) return;
    const QByteArray local = fileDialogName_.toLocal8Bit();
    windows_.fileRequests().request(Bytes(local.constData(), static_cast<size_t>(local.size())),
                                    static_cast<double>(QFileInfo(fileDialogName_).size()), caption());
}

}  // namespace nq::app
