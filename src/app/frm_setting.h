#pragma once
// frmSetting (设置): the settings window. Its look page edits the transparency of every open
// window, the topmost band of this window and the main window's edge hiding; its system page
// the automatic login, the autostart entry and the global hotkey. A third page of chat
// options exists but nothing leads to it, and its boxes do nothing.
//
// The four check boxes of Check3 act at their click and open unticked whatever is stored: a
// tick says "change it", not "it is on". The hotkey and the transparency wait for comSave.

#include <QWidget>
#include <array>
#include <functional>
#include <string>

#include "desktop/setting_texts.h"

class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class QSlider;
class QStackedWidget;

namespace nq {
class CIniFile;
class IList;
class lvButtons_H;
}  // namespace nq

namespace nq::app {

struct SettingServices {
    // The shared accessor: the topmost and edge-hiding boxes write to whatever file it last
    // named; the rest points it at userIni first.
    CIniFile& ini;
    std::string userIni;
    std::function<void(bool active)> setAutoHideActive;    // the main window's edge hiding
    std::function<void(const Bytes& hotkey)> applyHotkey;  // drop the old grab, take this one
    std::function<void(bool enable)> setAutoStart;
    std::function<void(const QString& text)> message;  // the modal box of the session's platform
};

class frmSetting : public QWidget {
    Q_OBJECT
  public:
    static constexpr int kSliderMax = 88;  // percent; the alpha stops at 79, never invisible

    explicit frmSetting(SettingServices services, QWidget* parent = nullptr);

    // The opening steps after the window shows: the list, the first page, and the stored
    // transparency and hotkey in the controls.
    void open();

    void comSaveClick();
    [[nodiscard]] HotkeyOption hotkeyOption() const;
    [[nodiscard]] int visiblePage() const;  // the index of the Picture1 on top

    IList* IList1 = nullptr;
    QStackedWidget* pages = nullptr;
    std::array<QWidget*, 3> Picture1{};
    QCheckBox* Check8 = nullptr;
    QGroupBox* Frame2 = nullptr;
    QLineEdit* Text2 = nullptr;
    QSlider* Slider1 = nullptr;
    QLabel* Label4 = nullptr;
    std::array<QCheckBox*, 4> Check3{};
    QGroupBox* Frame1 = nullptr;
    QGroupBox* Frame4 = nullptr;
    QCheckBox* Check7 = nullptr;
    QRadioButton* Option5 = nullptr;  // Alt+
    QRadioButton* Option2 = nullptr;  // Ctrl+
    QRadioButton* Option3 = nullptr;  // Ctrl+Alt+
    QRadioButton* Option4 = nullptr;  // F1~F9
    QLineEdit* Text1 = nullptr;
    QCheckBox* Check1 = nullptr;
    QCheckBox* Check2 = nullptr;
    QCheckBox* Check4 = nullptr;
    QCheckBox* Check5 = nullptr;
    QCheckBox* Check6 = nullptr;
    lvButtons_H* comSave = nullptr;
    lvButtons_H* lvButtons_H2 = nullptr;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void buildLookPage();
    void buildSystemPage();
    void buildChatPage();
    void check3Click(int index, bool ticked);
    void check7Click(bool ticked);
    void setHotkeyControlsEnabled(bool enabled);
    void optionClick(HotkeyOption option);
    void applyAlphaEverywhere(int alpha);
    void changed();

    SettingServices services_;
};

}  // namespace nq::app
