#pragma once
// frmOption: the question what closing the main window should do, minimise to the tray or end
// the program, with "do not ask again". Nothing opens it yet and nothing reads the two User.ini
// keys it writes; it is kept finished for the settings work that will.

#include <QWidget>
#include <string>

class QCheckBox;
class QRadioButton;

namespace nq {
class XPContainer;
class lvButtons_H;
}  // namespace nq

namespace nq::app {

class frmOption : public QWidget {
    Q_OBJECT
  public:
    // userIni: the path of User.ini; mainWindow: minimised and hidden on Option1, and enabled
    // again in any case.
    frmOption(std::string userIni, QWidget* mainWindow, QWidget* parent = nullptr);

    void lvButtons_H1Click();

    XPContainer* XPContainer1 = nullptr;
    QRadioButton* Option1 = nullptr;
    QRadioButton* Option2 = nullptr;
    QCheckBox* Check1 = nullptr;
    lvButtons_H* lvButtons_H1 = nullptr;

  private:
    std::string userIni_;
    QWidget* mainWindow_;
};

}  // namespace nq::app
