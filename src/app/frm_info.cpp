#include "app/frm_info.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

#include "app/button_looks.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/xp_container.h"

namespace nq::app {

namespace {

constexpr int kHeadPx = 96;  // the large heads under image/
constexpr int kWindowWidthPx = 460;
constexpr int kBoxWidthPx = 200;

const QStringList kSexes = {"男", "女"};
const QStringList kStates = {"中华人民共和国", "国外"};
const QStringList kProvinces = {"北京",   "上海", "天津", "重庆", "河北", "山西", "内蒙古", "辽宁", "吉林",
                                "黑龙江", "江苏", "浙江", "安徽", "福建", "江西", "山东",   "河南", "湖北",
                                "湖南",   "广东", "广西", "海南", "贵州", "四川", "云南",   "西藏", "陕西",
                                "甘肃",   "青海", "宁夏", "新疆", "香港", "澳门", "台湾"};
// 牧羊座 and 魔羯座 are spelled so in the list users have always picked from.
const QStringList kStarSigns = {"水瓶座", "双鱼座", "牧羊座", "金牛座", "双子座", "巨蟹座",
                                "狮子座", "处女座", "天秤座", "天蝎座", "射手座", "魔羯座"};
const QStringList kZodiacAnimals = {"鼠", "牛", "虎", "兔", "龙", "蛇", "马", "羊", "猴", "鸡", "狗", "猪"};
const QStringList kBloodTypes = {"A型", "B型", "O型", "AB型", "其他"};

QString qs(const Bytes& gbkText) {
    return QString::fromStdString(gbk::toUtf8(gbkText));
}
Bytes gb(const QString& text) {
    return gbk::fromUtf8(text.toStdString());
}

QComboBox* list(const QStringList& items, bool free, QWidget* parent) {
    auto* box = new QComboBox(parent);
    box->addItems(items);
    // A stored value outside the list still shows as it is.
    box->setEditable(free);
    box->setMinimumWidth(kBoxWidthPx);
    return box;
}

}  // namespace

frmInfo::frmInfo(ProfileCache& profiles, std::string programFolder, QWidget* parent)
    : QWidget(parent), profiles_(profiles), programFolder_(std::move(programFolder)) {
    build();
}

void frmInfo::build() {
    setObjectName("frmInfo");
    setWindowTitle(kCaption);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, QColor(0xf3, 0xf7, 0xfd));
    pal.setColor(QPalette::Base, Qt::white);
    setPalette(pal);
    setFixedWidth(kWindowWidthPx);

    auto* top = new XPContainer(this);
    top->setStyle(XPContainer::Plain);
    top->setBackLightColor(QColor(0x2f, 0x80, 0xed));
    top->setBackDarkColor(QColor(0x1a, 0x5f, 0xc8));
    top->setFixedHeight(36);
    auto* tabsRow = new QHBoxLayout(top);
    tabsRow->setContentsMargins(10, 4, 10, 0);
    tabsRow->setSpacing(4);
    const char* tabCaptions[] = {"基本信息", "详细信息"};
    for (int i = 0; i < 2; ++i) {
        auto* tab = new lvButtons_H(tabCaptions[i], top);
        tab->setObjectName(QString("tab(%1)").arg(i));
        lookTab(*tab);
        tab->setFixedSize(96, 30);
        connect(tab, &lvButtons_H::Click, this, [this, i] { showPage(static_cast<Page>(i)); });
        tabsRow->addWidget(tab);
        tabs_[static_cast<size_t>(i)] = tab;
    }
    tabsRow->addStretch();

    pages_[kBasic] = static_cast<XPContainer*>(buildBasic());
    pages_[kDetail] = static_cast<XPContainer*>(buildDetail());

    comSave = new lvButtons_H("保存", this);
    comSave->setObjectName("comSave");
    lookPrimary(*comSave);
    comUpdate = new lvButtons_H("更新", this);
    comUpdate->setObjectName("comUpdate");
    lookSecondary(*comUpdate);
    comClose = new lvButtons_H("关闭", this);
    comClose->setObjectName("comClose");
    lookSecondary(*comClose);
    for (lvButtons_H* b : {comSave, comUpdate, comClose}) b->setFixedSize(80, 28);
    comSave->setVisible(false);
    connect(comSave, &lvButtons_H::Click, this, &frmInfo::comSaveClick);
    connect(comUpdate, &lvButtons_H::Click, this, &frmInfo::comUpdateClick);
    connect(comClose, &lvButtons_H::Click, this, &QWidget::close);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(comSave);
    buttons->addWidget(comUpdate);
    buttons->addWidget(comClose);

    auto* v = new QVBoxLayout(this);
    v->setContentsMargins(0, 0, 0, 10);
    v->setSpacing(8);
    v->addWidget(top);
    for (XPContainer* p : pages_) {
        auto* margin = new QHBoxLayout;
        margin->setContentsMargins(10, 0, 10, 0);
        margin->addWidget(p);
        v->addLayout(margin);
    }
    buttons->setContentsMargins(10, 0, 10, 0);
    v->addLayout(buttons);
    showPage(kBasic);
}

QWidget* frmInfo::buildBasic() {
    auto* page = new XPContainer(this);
    page->setObjectName("frmBasic");
    page->setStyle(XPContainer::BorderOnly);
    txtName = new QLineEdit(page);
    txtDname = new QLineEdit(page);
    txtRname = new QLineEdit(page);
    Cb_sex = list(kSexes, false, page);
    txtAge = new QLineEdit(page);
    // Digits only; nothing bounds the number itself.
    txtAge->setValidator(new QRegularExpressionValidator(QRegularExpression("[0-9]*"), txtAge));
    cbState = list(kStates, true, page);
    txtProvince = list(kProvinces, true, page);
    txtCity = new QLineEdit(page);
    txtInfo = new QLineEdit(page);
    imgHead = new QLabel(page);
    imgHead->setObjectName("imgHead");
    imgHead->setFixedSize(kHeadPx, kHeadPx);
    imgHead->setScaledContents(true);

    // Boxes that take Chinese get half their byte limit in characters, a character being at
    // most two bytes; the others take plain digits and letters.
    using L = ProfileCache::Limits;
    txtDname->setMaxLength(L::kNick / 2);
    txtRname->setMaxLength(L::kRealName / 2);
    txtAge->setMaxLength(L::kAge);
    txtCity->setMaxLength(L::kCity / 2);
    txtInfo->setMaxLength(L::kSignature / 2);

    auto* form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignRight);
    form->addRow("用户名：", txtName);
    form->addRow("昵  称：", txtDname);
    form->addRow("姓  名：", txtRname);
    form->addRow("性  别：", Cb_sex);
    form->addRow("年龄：", txtAge);
    form->addRow("国家/地区：", cbState);
    form->addRow("省  份：", txtProvince);
    form->addRow("城  市：", txtCity);
    auto* row = new QHBoxLayout;
    row->addLayout(form, 1);
    row->addWidget(imgHead, 0, Qt::AlignTop);
    auto* v = new QVBoxLayout(page);
    v->setContentsMargins(12, 12, 12, 12);
    v->addLayout(row);
    auto* sig = new QFormLayout;
    sig->addRow("签名档：", txtInfo);
    v->addLayout(sig);
    return page;
}

QWidget* frmInfo::buildDetail() {
    auto* page = new XPContainer(this);
    page->setObjectName("frmDetail");
    page->setStyle(XPContainer::BorderOnly);
    cbXingzuo = list(kStarSigns, true, page);
    cbShengxiao = list(kZodiacAnimals, true, page);
    cbBtype = list(kBloodTypes, true, page);
    txtJob = new QLineEdit(page);
    txtSchool = new QLineEdit(page);
    txt_addr = new QLineEdit(page);
    txt_poss = new QLineEdit(page);
    txt_call = new QLineEdit(page);
    txt_mobil = new QLineEdit(page);
    txt_email = new QLineEdit(page);
    using L = ProfileCache::Limits;
    txtJob->setMaxLength(L::kJob / 2);
    txtSchool->setMaxLength(L::kSchool / 2);
    txt_addr->setMaxLength(L::kAddress / 2);
    txt_poss->setMaxLength(L::kPostCode);
    txt_call->setMaxLength(L::kPhone);
    txt_mobil->setMaxLength(L::kPhone);
    txt_email->setMaxLength(L::kEmail);

    auto* form = new QFormLayout(page);
    form->setContentsMargins(12, 12, 12, 12);
    form->setLabelAlignment(Qt::AlignRight);
    form->addRow("星座：", cbXingzuo);
    form->addRow("生肖：", cbShengxiao);
    form->addRow("血型：", cbBtype);
    form->addRow("工作单位：", txtJob);
    form->addRow("毕业院校：", txtSchool);
    form->addRow("联系地址：", txt_addr);
    form->addRow("邮    编：", txt_poss);
    form->addRow("家庭电话：", txt_call);
    form->addRow("手    机：", txt_mobil);
    form->addRow("电子邮箱：", txt_email);
    return page;
}

void frmInfo::showPage(Page page) {
    for (int i = 0; i < 2; ++i) {
        pages_[static_cast<size_t>(i)]->setVisible(i == page);
        tabs_[static_cast<size_t>(i)]->setValue(i == page);
        // The chosen tab sits on its pale face; the other reads on the blue strip.
        tabs_[static_cast<size_t>(i)]->setForeColor(i == page ? QColor(0x1a, 0x5f, 0xc8) : QColor(Qt::white));
    }
}

void frmInfo::setSaveVisible(bool visible) {
    comSave->setVisible(visible);
}

void frmInfo::lock(QLineEdit* box, bool locked, bool greyed) {
    box->setReadOnly(locked);
    QPalette pal = box->palette();
    pal.setColor(QPalette::Base, greyed ? palette().color(QPalette::Button) : QColor(Qt::white));
    box->setPalette(pal);
}

void frmInfo::lock(QComboBox* box, bool locked, bool greyed) {
    box->setEnabled(!locked);
    QPalette pal = box->palette();
    pal.setColor(QPalette::Base, greyed ? palette().color(QPalette::Button) : QColor(Qt::white));
    box->setPalette(pal);
}

void frmInfo::fill(const ProfileShown& p) {
    const bool ro = p.readOnly;
    txtName->setText(qs(p.name));
    txtDname->setText(qs(p.dearName));
    lock(txtName, true, false);
    lock(txtDname, true, false);
    txtRname->setText(qs(p.realName));
    Cb_sex->setCurrentIndex(p.male ? 0 : 1);
    txtAge->setText(qs(p.age));
    cbState->setCurrentText(qs(p.area));
    txtProvince->setCurrentText(qs(p.province));
    txtCity->setText(qs(p.city));
    txtInfo->setText(qs(p.signature));
    cbXingzuo->setCurrentText(qs(p.starSign));
    cbShengxiao->setCurrentText(qs(p.zodiacAnimal));
    cbBtype->setCurrentText(qs(p.bloodType));
    txtJob->setText(qs(p.job));
    txtSchool->setText(qs(p.school));
    txt_addr->setText(qs(p.address));
    txt_poss->setText(qs(p.postCode));
    txt_call->setText(qs(p.call));
    txt_mobil->setText(qs(p.mobile));
    txt_email->setText(qs(p.email));
    for (QLineEdit* b : {txtRname, txtAge, txtCity, txtInfo, txtJob, txtSchool, txt_addr, txt_poss, txt_call,
                         txt_mobil, txt_email})
        lock(b, ro, ro);
    for (QComboBox* b : {Cb_sex, cbState, txtProvince, cbXingzuo, cbShengxiao, cbBtype}) lock(b, ro, ro);
    imgHead->setPixmap(
        QPixmap(QString::fromStdString(programFolder_ + "/image/" + std::to_string(p.head - 1) + ".jpg")));
    if (p.fromReply) comUpdate->setEnabled(true);
}

void frmInfo::comSaveClick() {
    comSave->setEnabled(false);
    OwnProfileEdits e;
    e.dearName = gb(txtDname->text());
    e.signature = gb(txtInfo->text());
    e.age = gb(txtAge->text());
    e.male = Cb_sex->currentText() == kSexes[0];
    e.area = gb(cbState->currentText());
    e.province = gb(txtProvince->currentText());
    e.city = gb(txtCity->text());
    e.email = gb(txt_email->text());
    e.address = gb(txt_addr->text());
    e.postCode = gb(txt_poss->text());
    e.call = gb(txt_call->text());
    e.mobile = gb(txt_mobil->text());
    e.realName = gb(txtRname->text());
    e.school = gb(txtSchool->text());
    e.job = gb(txtJob->text());
    e.zodiacAnimal = gb(cbShengxiao->currentText());
    e.bloodType = gb(cbBtype->currentText());
    e.starSign = gb(cbXingzuo->currentText());
    profiles_.saveOwnProfile(e);
}

void frmInfo::comUpdateClick() {
    comUpdate->setEnabled(false);
    (void)profiles_.requestOwnRecord();
}

}  // namespace nq::app
