#include "app/frm_option.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/button_looks.h"
#include "desktop/window_services.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/xp_container.h"

namespace nq::app {

namespace keys = store::settings;

frmOption::frmOption(std::string userIni, QWidget* mainWindow, QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint),
      userIni_(std::move(userIni)),
      mainWindow_(mainWindow) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(QStringLiteral("关闭选项"));
    resize(260, 150);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    XPContainer1 = new XPContainer(this);
    XPContainer1->setCaption(windowTitle());
    XPContainer1->setDragsWindow(true);
    outer->addWidget(XPContainer1);
    auto* body = new QVBoxLayout(XPContainer1);
    body->setContentsMargins(14, 30, 14, 10);
    Option1 = new QRadioButton(QStringLiteral("最小化到系统托盘"), XPContainer1);
    Option2 = new QRadioButton(QStringLiteral("退出程序"), XPContainer1);
    Option1->setChecked(true);
    Check1 = new QCheckBox(QStringLiteral("下次不要提示"), XPContainer1);
    lvButtons_H1 = new lvButtons_H(XPContainer1);
    lvButtons_H1->setCaption(QStringLiteral("确定"));
    lvButtons_H1->setFixedSize(80, 26);
    lookPrimary(*lvButtons_H1);
    body->addWidget(Option1);
    body->addWidget(Option2);
    body->addWidget(Check1);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(lvButtons_H1);
    body->addLayout(row);
    connect(Check1, &QCheckBox::toggled, this, [this](bool on) {
        CIniFile(userIni_).WriteIniKey(keys::kSettingSection, keys::kCloseMode, on ? "1" : "");
    });
    connect(lvButtons_H1, &lvButtons_H::Click, this, &frmOption::lvButtons_H1Click);
    SetTopMost(this, true);
}

void frmOption::lvButtons_H1Click() {
    const bool toTray = Option1->isChecked();
    CIniFile(userIni_).WriteIniKey(keys::kSettingSection, keys::kIsEnd, toTray ? "1" : "");
    if (mainWindow_) {
        if (toTray) {
            mainWindow_->setWindowState(mainWindow_->windowState() | Qt::WindowMinimized);
            mainWindow_->hide();
        }
        mainWindow_->setEnabled(true);
    }
    close();
}

}  // namespace nq::app
