#pragma once
// frmInfo, "查看信息": one person's profile on two pages, 基本信息 and 详细信息. Another's
// profile, and the own one until its record is cached, are shown locked on the button face;
// the own cached profile can be edited and sent with comSave. The window shows what the
// profile model hands it and sends through the model; it reads no file itself.

#include <QWidget>
#include <array>
#include <string>

#include "contacts/profile_cache.h"

class QComboBox;
class QLabel;
class QLineEdit;

namespace nq {
class XPContainer;
class lvButtons_H;
}  // namespace nq

namespace nq::app {

class frmInfo : public QWidget {
    Q_OBJECT
  public:
    static constexpr const char* kCaption = "查看信息";
    enum Page { kBasic = 0, kDetail = 1 };

    // programFolder: where image/ holds the head pictures.
    frmInfo(ProfileCache& profiles, std::string programFolder, QWidget* parent = nullptr);

    // Fills every box from a profile and locks them as it says.
    void fill(const ProfileShown& shown);
    // comSave is there only for the own profile.
    void setSaveVisible(bool visible);
    void showPage(Page page);

    // The boxes by the names users of the window know them by, for tests and screenshots.
    QLineEdit *txtName = nullptr, *txtDname = nullptr, *txtRname = nullptr, *txtAge = nullptr;
    QLineEdit *txtCity = nullptr, *txtInfo = nullptr, *txtJob = nullptr, *txtSchool = nullptr;
    QLineEdit *txt_addr = nullptr, *txt_poss = nullptr, *txt_call = nullptr, *txt_mobil = nullptr;
    QLineEdit* txt_email = nullptr;
    QComboBox *Cb_sex = nullptr, *cbState = nullptr, *txtProvince = nullptr;
    QComboBox *cbXingzuo = nullptr, *cbShengxiao = nullptr, *cbBtype = nullptr;
    QLabel* imgHead = nullptr;
    lvButtons_H *comSave = nullptr, *comUpdate = nullptr, *comClose = nullptr;

  private:
    void build();
    QWidget* buildBasic();
    QWidget* buildDetail();
    void lock(QLineEdit* box, bool locked, bool greyed);
    void lock(QComboBox* box, bool locked, bool greyed);
    void comSaveClick();
    void comUpdateClick();

    ProfileCache& profiles_;
    std::string programFolder_;
    std::array<lvButtons_H*, 2> tabs_{};
    std::array<XPContainer*, 2> pages_{};  // frmBasic, frmDetail
};

}  // namespace nq::app
