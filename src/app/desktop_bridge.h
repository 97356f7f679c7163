#pragma once
// The desktop services that the main window uses at load, on its menus and at unload, behind
// one narrow interface so that tests can see whether the window went topmost or the tray
// icon came and went, which offscreen platforms cannot show.

#include <functional>
#include <memory>
#include <string>

#include "desktop/tray.h"

class QWidget;

namespace nq::app {

class MainformDesktop {
  public:
    virtual ~MainformDesktop() = default;
    virtual void trayAdd(QWidget* window, const std::string& tip) = 0;
    virtual void trayRemove() = 0;
    // Several handlers may join; each stays until the desktop services go.
    virtual void onTrayClick(std::function<void(TrayClick)> handler) = 0;
    // The tray picture by TrayIconState: 0 dark (a blink's off phase), 1 logged in, 2 the
    // notice picture; shown at once even when unchanged.
    virtual void traySetState(int state) = 0;
    virtual void setTopMost(QWidget* window, bool enable) = 0;
    // The TransValue text of User.ini as stored ("1,205,"); applied only when its flag is 1.
    virtual void applyStoredTransparency(QWidget* window, const std::string& transValue) = 0;
    // Whether the desktop has a notification area to hide the window into.
    virtual bool trayAvailable() const = 0;
    // The global hotkey: action "Add" or "Del" with a User.ini value ("Ctrl+Alt,81").
    virtual void applyHotkey(int id, const std::string& text, const std::string& action) = 0;
    // Called when the registered combination is pressed anywhere on the desktop.
    virtual void onHotkeyFetch(std::function<void()> handler) = 0;
};

// The real one: the program's tray icon, owned here, and the desktop library's window services.
std::unique_ptr<MainformDesktop> makeQtMainformDesktop();

}  // namespace nq::app
