// Mainform's road to the settings window, apart from the form's own file for its size.
#include <QCoreApplication>

#include "app/frm_setting.h"
#include "app/main_form.h"
#include "desktop/auto_start.h"

namespace nq::app {

void Mainform::openSettings() {
    if (settingsWindow_) {
        settingsWindow_->show();
        settingsWindow_->raise();
        settingsWindow_->activateWindow();
        return;
    }
    const AutoStartTarget target{QCoreApplication::applicationFilePath().toStdString(),
                                 options_.homeArgument};
    SettingServices services{
        session_->ini,
        session_->userIni(),
        [this](bool active) { setDeskToolbarActive(active); },
        [this](const Bytes& hotkey) { applyHotkey(hotkey); },
        [target](bool enable) { SetAutoStart(enable, target); },
        [this](const QString& text) {
            session_->services().messageBox(text.toStdString(), Session::kAppTitle, BoxButtons::Ok,
                                            BoxIcon::None);
        },
    };
    auto* window = new frmSetting(std::move(services));
    settingsWindow_ = window;
    window->open();
}

}  // namespace nq::app
