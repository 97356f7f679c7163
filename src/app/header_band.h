#pragma once
// TopFrame: the band across the top of the main window, the menu row, the program's icon and
// name on a panel of the kit in the program's strong blue. QMainWindow takes it as its menu
// widget, so the menus sit on the band's colour instead of a grey bar of their own.

#include "widgets/xp_container.h"

class QLabel;
class QMenuBar;

namespace nq::app {

class HeaderBand : public XPContainer {
    Q_OBJECT
  public:
    explicit HeaderBand(QWidget* parent = nullptr);

    QMenuBar* menuBar() const { return menuBar_; }
    // The line under the name: a greeting before login, the user's nick after.
    void setSubtitle(const QString& text);

  private:
    QMenuBar* menuBar_;
    QLabel* subtitle_;
};

}  // namespace nq::app
