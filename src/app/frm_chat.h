#pragma once
// frmChat: the conversation window. One per conversation, found again by its caption alone
// ("与x聊天中" for a person, "在x聊天中" for a group or the room); `chatMode` decides where its
// lines go. The history pane `revRtf` above, the toolbar, the send box `sndRtf` and the two
// buttons below, and on the right the heads of both sides (one to one) or the group's members
// and notice (groups and the room).
//
// The window asks the conversation logic for its lines: Timer1 takes one waiting line per
// 10 ms, but runs only while the queue may hold something for this window, so an idle window
// costs no wake-ups.

#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <array>
#include <optional>

#include "contacts/item_list.h"
#include "conversation/chat_mode.h"
#include "conversation/faces.h"
#include "conversation/room_view.h"
#include "desktop/mod_autosize.h"
#include "wire/gbk.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QTextEdit;

namespace nq {
class IList;
class RichText;
class XPContainer;
class lvButtons_H;
struct IncomingLine;
}  // namespace nq

namespace nq::app {

class ChatWindows;
class frmChatRecord;

class frmChat : public QWidget, public RoomView {
    Q_OBJECT
  public:
    // The toolbar, by index.
    enum Tool {
        kFont = 0,
        kSize = 1,
        kColor = 2,
        kFace = 3,
        kNarrow = 4,
        kWiden = 5,
        kRecord = 6,
        kClear = 7
    };
    // How much narrower button 4 makes the window: 2250 twips.
    static constexpr int kSidePanelPx = 150;
    static constexpr int kDesignWidthPx = 560;
    static constexpr int kDesignHeightPx = 470;
    static constexpr int kTimer1Ms = 10;

    frmChat(ChatWindows& windows, std::optional<ChatMode> mode, const Bytes& name, QWidget* parent = nullptr);
    ~frmChat() override;

    std::optional<ChatMode> chatMode;
    // The conversation's name: the person's nick, the group or the room (GBK).
    [[nodiscard]] Bytes lbFrdCaption() const;
    [[nodiscard]] Bytes caption() const;  // the window title in GBK

    // The members of a group or the room, shown in IList1 with vlgFrame; an empty list shows
    // myFrame instead.
    void showGroupPanel(bool on);
    ItemList& members() override { return members_; }
    // The group's introduction beside the member list.
    void setGroupText(const QString& text);

    RichText& revPane() { return *revRtf; }
    RichText& sendBox() { return *sndRtf; }
    lvButtons_H& tool(int index) { return *lvButtons_H2.at(static_cast<size_t>(index)); }
    lvButtons_H& sendButton() { return *comSend; }

    // The delivery: whether Timer1 runs, and one of its events.
    [[nodiscard]] bool deliveryRunning() const { return Timer1.isActive(); }
    void wakeDelivery();
    void deliverOne();

    // What comSend does; Alt+S and Ctrl+Enter take sendByKeys().
    void comSendClick();
    void sendByKeys();
    // Face n into the send box at the caret (the picker's click).
    void OnFaceListClicked(int face);

    // The file button (lvButtons_H1 index 2, disabled in this version): the open dialog, then
    // fileChosen with what it returned.
    static constexpr int kFileButton = 2;
    void chooseFileToSend();
    // The dialog's answer: an empty one is a Cancel, which keeps the dialog's earlier name, so
    // a file chosen before is requested again; with no earlier name nothing happens.
    void fileChosen(const QString& path);

    // setLinks over the history pane from a character position, for every link pattern.
    void markLinks(int fromChar);

    // ---- RoomView (frm_chat_room.cpp) ----
    void prepareMemberRows() override;
    void writeSystemLine(const Bytes& text, uint32_t color) override;
    void setTalkEnabled(bool enabled) override;
    [[nodiscard]] bool talkEnabled() const override;
    void addAddressee(const Bytes& name) override;
    void closeView() override { close(); }
    [[nodiscard]] QComboBox& addressees() { return *cbHallMem; }

  protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void build();
    void buildToolbar(QWidget* parent);
    void buildSidePanels(QWidget* side);
    void Form_Load();
    void Form_Activate();
    void InitAndSetControls();
    void InitFontList();
    void ReFreshTextInDown();
    void applyBoxStyle();
    void toolClicked(int index);
    void closeDropDowns(bool font, bool size, bool faces);
    void fillFacePicker();
    void OnColorDlgShow();
    void setNarrow(bool narrow);
    void addTorevRtf();
    void render(const IncomingLine& line);
    void send();
    void writeOffline();
    void onKeyDown(QKeyEvent* event, bool* eaten);
    void onKeyPress(int keyAscii, bool* eaten);
    void onKeyUp(QKeyEvent* event);
    void memberClicked();
    void memberDoubleClicked();
    void lbFrdClicked();
    void savePosition();
    void toggleRecord();
    void requestDetails(bool group);
    [[nodiscard]] int ownHead() const;

    ChatWindows& windows_;
    bool activated_ = false;
    bool ctrlDown_ = false;
    bool toolbarReady_ = false;  // the first toolbar click has set up the drop-downs
    bool wantsResize_ = true;
    SendBoxSnapshot prevFormatText;
    Bytes memberName_;  // the member clicked last in IList1
    int memberHead_ = 0;
    AutosizeRecords autosize_;  // Mod_Autosize's table of the tagged controls
    ItemList members_;

    QTimer Timer1;
    XPContainer* topFrame = nullptr;
    QLabel* lbFrd = nullptr;
    RichText* revRtf = nullptr;
    RichText* sndRtf = nullptr;
    QWidget* mainframe = nullptr;
    QWidget* sidePanel_ = nullptr;
    XPContainer* myFrame = nullptr;
    XPContainer* vlgFrame = nullptr;
    QLabel* lbName = nullptr;
    QLabel* lbDname = nullptr;
    QLineEdit* txtName = nullptr;
    QLineEdit* txtDname = nullptr;
    QLabel* imgMyself = nullptr;
    QLabel* imgFriend = nullptr;
    QLabel* lbMyStyle = nullptr;
    QLabel* lbStyle = nullptr;
    QLabel* Label1 = nullptr;
    QLabel* Label2 = nullptr;
    QTextEdit* txtVinfo = nullptr;
    IList* IList1 = nullptr;
    QComboBox* FontSel = nullptr;
    QComboBox* size = nullptr;
    QListWidget* ListView1 = nullptr;
    QLabel* lbObject = nullptr;
    QComboBox* cbHallMem = nullptr;
    lvButtons_H* comSend = nullptr;
    lvButtons_H* comClose = nullptr;
    std::array<lvButtons_H*, 8> lvButtons_H2{};
    std::array<lvButtons_H*, 4> lvButtons_H1{};
    quint32 color_ = 0;  // CommonColor.Color
    QPointer<frmChatRecord> record_;
    QString fileDialogName_;  // CommonColor.FileName: it outlives a Cancel
};

}  // namespace nq::app
