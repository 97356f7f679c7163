#include "app/desktop_bridge.h"

#include <QString>

#include "desktop/window_services.h"

namespace nq::app {
namespace {

class QtMainformDesktop final : public MainformDesktop {
  public:
    void trayAdd(QWidget* window, const std::string& tip) override {
        TrayAdd(window, QString::fromStdString(tip));
    }
    void trayRemove() override { TrayRemove(); }
    void onTrayClick(std::function<void(TrayClick)> handler) override {
        setTrayClickHandler(std::move(handler));
    }
    void setTopMost(QWidget* window, bool enable) override { SetTopMost(window, enable); }
    void applyStoredTransparency(QWidget* window, const std::string& transValue) override {
        nq::applyStoredTransparency(window, transValue);
    }
};

}  // namespace

std::unique_ptr<MainformDesktop> makeQtMainformDesktop() {
    return std::make_unique<QtMainformDesktop>();
}

}  // namespace nq::app
