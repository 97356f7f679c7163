#include "app/frm_setting.h"

#include <QApplication>
#include <QCheckBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSlider>
#include <QStackedWidget>
#include <algorithm>

#include "app/button_looks.h"
#include "desktop/window_services.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "widgets/i_list.h"
#include "widgets/lv_buttons_h.h"
#include "wire/fields.h"

namespace nq::app {

namespace keys = store::settings;

namespace {

// Fixed design, in pixels: the side list, the pages beside it, the buttons under both.
constexpr QSize kWindowSize(470, 340);
constexpr QRect kListRect(8, 8, 112, 290);
constexpr QRect kPagesRect(128, 8, 334, 290);
constexpr int kListItemHeight = 30;

QLabel* pageCaption(QWidget* page, const char* text) {
    auto* label = new QLabel(QString::fromUtf8(text), page);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    label->setGeometry(10, 6, 300, 22);
    return label;
}

QCheckBox* checkBox(QWidget* parent, const char* text, int x, int y, int width = 280) {
    auto* box = new QCheckBox(QString::fromUtf8(text), parent);
    box->setGeometry(x, y, width, 22);
    return box;
}

}  // namespace

frmSetting::frmSetting(SettingServices services, QWidget* parent)
    : QWidget(parent, Qt::Window), services_(std::move(services)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(QStringLiteral("设置"));
    setFixedSize(kWindowSize);

    IList1 = new IList(this);
    IList1->setGeometry(kListRect);
    pages = new QStackedWidget(this);
    pages->setGeometry(kPagesRect);
    pages->setFrameShape(QFrame::StyledPanel);
    for (QWidget*& page : Picture1) {
        page = new QWidget;
        pages->addWidget(page);
    }
    buildLookPage();
    buildChatPage();
    buildSystemPage();

    comSave = new lvButtons_H(this);
    comSave->setCaption(QStringLiteral("保存"));
    comSave->setGeometry(kPagesRect.right() - 172, kPagesRect.bottom() + 10, 80, 26);
    lookPrimary(*comSave);
    comSave->setEnabled(false);
    lvButtons_H2 = new lvButtons_H(this);
    lvButtons_H2->setCaption(QStringLiteral("关闭"));
    lvButtons_H2->setGeometry(kPagesRect.right() - 80, kPagesRect.bottom() + 10, 80, 26);
    lookSecondary(*lvButtons_H2);
    connect(comSave, &lvButtons_H::Click, this, &frmSetting::comSaveClick);
    connect(lvButtons_H2, &lvButtons_H::Click, this, &QWidget::close);
    connect(IList1, &IList::OnSelect, this, [this](int position) {
        // The chat page has no item: only the look and the system page can come up.
        if (position == 1) pages->setCurrentWidget(Picture1[0]);
        if (position == 2) pages->setCurrentWidget(Picture1[2]);
    });

    // The window's own load: the stored transparency on itself.
    services_.ini.setINIFileName(services_.userIni);
    applyStoredTransparency(this, services_.ini.GetIniKey(keys::kSettingSection, keys::kTransparency));
}

void frmSetting::buildLookPage() {
    QWidget* page = Picture1[0];
    pageCaption(page, "界面设置");
    Check8 = checkBox(page, "界面透明", 16, 36);
    Frame2 = new QGroupBox(page);
    Frame2->setGeometry(16, 62, 300, 56);
    Slider1 = new QSlider(Qt::Horizontal, Frame2);
    Slider1->setRange(0, kSliderMax);
    Slider1->setGeometry(10, 18, 200, 24);
    Slider1->setEnabled(false);
    Text2 = new QLineEdit(QStringLiteral("0"), Frame2);
    Text2->setGeometry(220, 18, 40, 24);
    // The slider is the one way to change the percentage; the box shows it.
    Text2->setReadOnly(true);
    Label4 = new QLabel(QStringLiteral("%"), Frame2);
    Label4->setGeometry(266, 18, 20, 24);
    Check3[0] = checkBox(page, "窗口置前", 16, 132);
    Check3[1] = checkBox(page, "窗口自动隐藏", 16, 160);

    connect(Check8, &QCheckBox::clicked, this, [this](bool ticked) {
        Slider1->setEnabled(ticked);
        applyAlphaEverywhere(ticked ? alphaOfPercent(static_cast<int>(toNumber(Text2->text().toStdString())))
                                    : 255);
        changed();
    });
    connect(Slider1, &QSlider::valueChanged, this, [this](int value) {
        Text2->setText(QString::number(value));
        if (Check8->isChecked()) applyAlphaEverywhere(alphaOfPercent(value));
        changed();
    });
}

void frmSetting::buildSystemPage() {
    QWidget* page = Picture1[2];
    pageCaption(page, "系统设置");
    Frame1 = new QGroupBox(QStringLiteral("启动设置"), page);
    Frame1->setGeometry(10, 34, 312, 76);
    Check3[2] = checkBox(Frame1, "自动登录", 12, 20);
    Check3[3] = checkBox(Frame1, "随系统启动", 12, 46);
    Frame4 = new QGroupBox(page);
    Frame4->setGeometry(10, 120, 312, 110);
    Check7 = checkBox(Frame4, "使用热键弹出主窗口(提取消息)", 12, 10, 290);
    Option5 = new QRadioButton(QStringLiteral("Alt+"), Frame4);
    Option2 = new QRadioButton(QStringLiteral("Ctrl+"), Frame4);
    Option3 = new QRadioButton(QStringLiteral("Ctrl+Alt+"), Frame4);
    Option4 = new QRadioButton(QStringLiteral("F1~F9"), Frame4);
    const std::array<std::pair<QRadioButton*, HotkeyOption>, 4> options = {{
        {Option5, HotkeyOption::Alt},
        {Option2, HotkeyOption::Ctrl},
        {Option3, HotkeyOption::CtrlAlt},
        {Option4, HotkeyOption::Function},
    }};
    const int widths[] = {56, 60, 88, 70};
    int x = 12;
    for (size_t i = 0; i < options.size(); ++i) {
        options[i].first->setGeometry(x, 40, widths[i], 22);
        x += widths[i] + 4;
        connect(options[i].first, &QRadioButton::clicked, this,
                [this, option = options[i].second] { optionClick(option); });
    }
    Text1 = new QLineEdit(Frame4);
    Text1->setGeometry(12, 72, 160, 24);
    Text1->installEventFilter(this);
    connect(Text1, &QLineEdit::textEdited, this, &frmSetting::changed);
    setHotkeyControlsEnabled(false);
    Text1->setText(QStringLiteral("无"));

    for (int i = 0; i < 4; ++i)
        connect(Check3[i], &QCheckBox::clicked, this, [this, i](bool ticked) { check3Click(i, ticked); });
    connect(Check7, &QCheckBox::clicked, this, &frmSetting::check7Click);
}

void frmSetting::buildChatPage() {
    QWidget* page = Picture1[1];
    pageCaption(page, "聊天设置");
    Check6 = checkBox(page, "好友下线提示", 16, 36);
    Check5 = checkBox(page, "好友上线提示", 16, 62);
    Check4 = checkBox(page, "消息到来时系统托盘图表闪动提示", 16, 88);
    Check2 = checkBox(page, "消息到来时自动弹出聊天窗口", 16, 114);
    Check1 = checkBox(page, "不接收来自陌生人的消息", 16, 140);
}

void frmSetting::open() {
    show();
    setProperty("Tag", QStringLiteral("Setting"));
    IList1->setItemHeight(kListItemHeight);
    // Caption only, no icon or second line: at the left, middle of the 30-pixel row.
    IList1->setCaptionPosX(14);
    IList1->setCaptionPosY(7);
    IList1->model().AddItem(gbk::fromUtf8("界面设置"), {}, 0);
    IList1->model().AddItem(gbk::fromUtf8("系统设置"), {}, 0);
    IList1->Redraw();
    setWindowTitle(QStringLiteral("设置"));
    pages->setCurrentWidget(Picture1[0]);

    services_.ini.setINIFileName(services_.userIni);
    const Bytes trans = services_.ini.GetIniKey(keys::kSettingSection, keys::kTransparency);
    if (!trans.empty()) {
        const TransValue value = parseTransValue(trans);
        Check8->setChecked(value.enabled);
        Slider1->setEnabled(value.enabled);
        const int percent = percentOfAlpha(value.alpha.value_or(255));
        const QSignalBlocker quiet(Slider1);
        Text2->setText(QString::number(percent));
        Slider1->setValue(percent);
    }
    // OutoRun is not shown here: this window's 自动登录 opens unticked like its three
    // neighbours, whatever the file holds.
    const Bytes hotkey = services_.ini.GetIniKey(keys::kSettingSection, keys::kHotkey);
    if (!hotkey.empty()) {
        Check7->setChecked(true);
        setHotkeyControlsEnabled(true);
        const HotkeyShown shown = hotkeyShown(hotkey);
        for (QRadioButton* o : {Option5, Option2, Option3, Option4}) o->setChecked(false);
        switch (shown.option) {
            case HotkeyOption::Alt:
                Option5->setChecked(true);
                break;
            case HotkeyOption::Ctrl:
                Option2->setChecked(true);
                break;
            case HotkeyOption::CtrlAlt:
                Option3->setChecked(true);
                break;
            case HotkeyOption::Function:
                Option4->setChecked(true);
                break;
            case HotkeyOption::None:
                break;
        }
        Text1->setText(shown.text);
    }
}

void frmSetting::changed() {
    comSave->setEnabled(true);
}

void frmSetting::applyAlphaEverywhere(int alpha) {
    const auto byte = static_cast<std::uint8_t>(std::clamp(alpha, 0, 255));
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->isVisible()) SetTransparency(w, byte);
}

void frmSetting::check3Click(int index, bool ticked) {
    changed();
    CIniFile& ini = services_.ini;
    switch (index) {
        case 0:
            // This window, not the main one: only the main window's own menu moves that.
            SetTopMost(this, ticked);
            ini.WriteIniKey(keys::kSettingSection, keys::kAlwaysOnTop, ticked ? "True" : "False");
            break;
        case 1:
            if (services_.setAutoHideActive) services_.setAutoHideActive(ticked);
            ini.WriteIniKey(keys::kSettingSection, keys::kAutoHide, ticked ? "True" : "False");
            break;
        case 2:
            ini.setINIFileName(services_.userIni);
            ini.WriteIniKey(keys::kSettingSection, keys::kAutoRun, ticked ? "1" : "0");
            break;
        default:
            if (services_.setAutoStart) services_.setAutoStart(ticked);
            break;
    }
}

void frmSetting::setHotkeyControlsEnabled(bool enabled) {
    for (QWidget* w : std::initializer_list<QWidget*>{Option5, Option2, Option3, Option4, Text1})
        w->setEnabled(enabled);
    QPalette palette = Text1->palette();
    palette.setColor(QPalette::Base, enabled ? QColor(Qt::white) : this->palette().color(QPalette::Window));
    Text1->setPalette(palette);
}

void frmSetting::check7Click(bool ticked) {
    changed();
    setHotkeyControlsEnabled(ticked);
    if (ticked) {
        Frame4->setEnabled(true);
        Text1->clear();
        Text1->setFocus();
    } else {
        Text1->setText(QStringLiteral("无"));
    }
}

HotkeyOption frmSetting::hotkeyOption() const {
    if (Option5->isChecked()) return HotkeyOption::Alt;
    if (Option2->isChecked()) return HotkeyOption::Ctrl;
    if (Option3->isChecked()) return HotkeyOption::CtrlAlt;
    if (Option4->isChecked()) return HotkeyOption::Function;
    return HotkeyOption::None;
}

int frmSetting::visiblePage() const {
    for (size_t i = 0; i < Picture1.size(); ++i)
        if (pages->currentWidget() == Picture1[i]) return static_cast<int>(i);
    return -1;
}

void frmSetting::optionClick(HotkeyOption option) {
    changed();
    Text1->setText(hotkeyPrefix(option));
    Text1->setCursorPosition(static_cast<int>(Text1->text().size()));
    Text1->setFocus();
}

bool frmSetting::eventFilter(QObject* watched, QEvent* event) {
    if (watched != Text1 || event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    const HotkeyOption option = hotkeyOption();
    // Key down: an empty box gets the prefix back, and so does one where Ctrl is held, which
    // wipes the letter typed before.
    if (option != HotkeyOption::None &&
        (Text1->text().isEmpty() || key->modifiers().testFlag(Qt::ControlModifier)))
        Text1->setText(hotkeyPrefix(option));
    // Keys without a character (arrows, Home, Delete) move and edit as in any box.
    if (key->text().isEmpty()) return false;
    const HotkeyKeyPress press = hotkeyKeyPress(option, Text1->text(), key->text().front());
    if (press.resetTo) Text1->setText(*press.resetTo);
    if (press.insert) {
        Text1->insert(QString(*press.insert));
        changed();
    }
    return true;
}

void frmSetting::comSaveClick() {
    CIniFile& ini = services_.ini;
    ini.setINIFileName(services_.userIni);
    const std::optional<Bytes> hotkey = hotkeySaveValue(Text1->text());
    // An empty key box stops the save before anything is written, and the button stays on.
    if (!hotkey) return;
    ini.WriteIniKey(keys::kSettingSection, keys::kHotkey, *hotkey);
    if (services_.applyHotkey) services_.applyHotkey(*hotkey);
    comSave->setEnabled(false);
    ini.WriteIniKey(
        keys::kSettingSection, keys::kTransparency,
        transValueText(Check8->isChecked(), static_cast<int>(toNumber(Text2->text().toStdString()))));
    if (services_.message) services_.message(QStringLiteral("保存成功"));
}

}  // namespace nq::app
