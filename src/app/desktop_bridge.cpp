#include "app/desktop_bridge.h"

#include <QString>
#include <QSystemTrayIcon>

#include "desktop/global_hotkey.h"
#include "desktop/hotkey_platform.h"

#include "desktop/window_services.h"

namespace nq::app {
namespace {

class QtMainformDesktop final : public MainformDesktop {
  public:
    void trayAdd(QWidget* window, const std::string& tip) override {
        window_ = window;
        tray_.TrayAdd(window, QString::fromStdString(tip));
    }
    void trayRemove() override { tray_.TrayRemove(); }
    void onTrayClick(std::function<void(TrayClick)> handler) override {
        QObject::connect(&tray_, &Tray::clicked, &tray_, std::move(handler));
    }
    void traySetState(int state) override {
        tray_.TrayIconState = static_cast<std::int16_t>(state);
        tray_.TraySetIcon(window_);
    }
    void setTopMost(QWidget* window, bool enable) override { SetTopMost(window, enable); }
    void applyStoredTransparency(QWidget* window, const std::string& transValue) override {
        nq::applyStoredTransparency(window, transValue);
    }
    bool trayAvailable() const override { return QSystemTrayIcon::isSystemTrayAvailable(); }
    void applyHotkey(int id, const std::string& text, const std::string& action) override {
        hotkey().ApplyHotkey(id, text, action);
    }
    void onHotkeyFetch(std::function<void()> handler) override {
        QObject::connect(&hotkey(), &GlobalHotkey::fetchRequested, &tray_, std::move(handler));
    }

  private:
    // Made at first use: the grabber asks the running platform for its X connection.
    GlobalHotkey& hotkey() {
        if (!hotkey_) hotkey_ = std::make_unique<GlobalHotkey>(makeHotkeyGrabber());
        return *hotkey_;
    }

    // Lives as long as the main window that owns this bridge, and the click handler with it.
    Tray tray_;
    QWidget* window_ = nullptr;
    std::unique_ptr<GlobalHotkey> hotkey_;
};

}  // namespace

std::unique_ptr<MainformDesktop> makeQtMainformDesktop() {
    return std::make_unique<QtMainformDesktop>();
}

}  // namespace nq::app
