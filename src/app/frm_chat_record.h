#pragma once
// frmChatRecord: one contact's chat record, a page of 20 at a time from the newest, in a
// borderless window that the chat window opens under itself. The window indexes revMsg.nq once
// when it is made and pages through that snapshot until it is closed (a file shortened meanwhile
// shows fewer records); closing deletes it, so the next opening reads the file again.

#include <QString>
#include <QStringList>
#include <QWidget>
#include <array>
#include <string>
#include <string_view>

#include "conversation/chat_record.h"
#include "desktop/mod_autosize.h"

class QComboBox;
class QLabel;
class QTextEdit;

namespace nq {
class lvButtons_H;
class XPContainer;
}  // namespace nq

namespace nq::app {

class frmChatRecord : public QWidget {
    Q_OBJECT
  public:
    // The load: opens `recordFile` (revMsg.nq of the logged-in account), disables both page
    // buttons and applies User.ini's TransValue text ("flag,alpha,") to the window.
    frmChatRecord(const std::string& recordFile, std::string_view transValue, QWidget* parent = nullptr);

    // What the chat window's record button does once the window is made: places it under
    // `chatFrame` (the chat window's frame, in pixels) at the same width, puts `contact` in
    // Combo1, shows and raises it (showing it fills page 0), then offers `friends`
    // (the friend list's names, in order) in Combo1's list.
    void openUnder(const QRect& chatFrame, const QString& contact, const QStringList& friends);

    // The number of records of `contact` in the snapshot; also the count the paging keeps.
    int countRecords(const QString& contact);
    // Replaces RichTextBox1's content by page `page` of `contact`, newest record on top.
    void showRecordPage(const QString& contact, int page);

    int pageIndex() const { return page_; }

    XPContainer* XPContainer1;
    QTextEdit* RichTextBox1;
    QComboBox* Combo1;
    QLabel* Label1;
    std::array<lvButtons_H*, 2> lvButtons_H1{};  // 0 "上一页   ", 1 "下一页   "
    QLabel* Image1;                              // closes the window
    QLabel* Image2;                              // drags the window

  protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void buildControls();
    void placeStripImages();
    void firstFill();
    void comboClick();
    void stepPage(int step);
    void setPagesAfter(int count);
    void writeRecord(const ShownRecord& record);

    ChatRecord record_;
    int matching_ = 0;
    int page_ = 0;
    int pagesBefore_ = 0;
    int pagesAfter_ = 0;
    bool pendingFirstFill_ = true;
    AutosizeRecords autosize_;
};

}  // namespace nq::app
