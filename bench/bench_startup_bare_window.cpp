// The floor for the start-up benchmark: the barest Qt widgets window of nqchat's size, which
// reports its first painted frame the same way nqchat does (NQ_READY_FD). With --chinese-label
// it also shows one label of Chinese text, which tells how much of nqchat's cost is simply
// that of rendering CJK glyphs at all. With --login-form it is a plain Qt login window with
// nqchat's controls and texts (menu bar, fields, check boxes, buttons, status bar) and none of
// its code: what such a window costs before anything nqchat adds.

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <cstring>
#include <memory>

#include "app/ready_signal.h"

namespace {

// The bare window is a plain QWidget, so that the floor stays the barest; the login form needs
// a QMainWindow for its menu and status bars.
template <class Window>
class FirstFrameReporter : public Window {
  protected:
    void paintEvent(QPaintEvent* event) override {
        Window::paintEvent(event);
        if (painted_) return;
        painted_ = true;
        QMetaObject::invokeMethod(
            this, [] { nq::app::notifyReadyOnce(); }, Qt::QueuedConnection);
        // Run by hand, without the benchmark holding the pipe, it closes after its first frame.
        if (!qEnvironmentVariableIsSet("NQ_READY_FD")) QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    }

  private:
    bool painted_ = false;
};

void addLoginForm(QMainWindow& w) {
    for (const char* title : {"系统", "操作", "设置", "帮助"}) w.menuBar()->addMenu(title)->addAction("注销");
    auto* form = new QWidget;
    auto* column = new QVBoxLayout(form);
    column->addWidget(new QLabel("帐号"));
    column->addWidget(new QLineEdit);
    column->addWidget(new QLabel("密码"));
    auto* password = new QLineEdit;
    password->setEchoMode(QLineEdit::Password);
    column->addWidget(password);
    column->addWidget(new QCheckBox("记住密码"));
    column->addWidget(new QCheckBox("自动登录"));
    column->addWidget(new QPushButton("登录"));
    column->addWidget(new QPushButton("取消"));
    column->addWidget(new QLabel("未登录用户"));
    column->addStretch();
    w.setCentralWidget(form);
    w.statusBar()->showMessage("状态：未登录");
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const bool chineseLabel = argc > 1 && std::strcmp(argv[1], "--chinese-label") == 0;
    const bool loginForm = argc > 1 && std::strcmp(argv[1], "--login-form") == 0;
    std::unique_ptr<QWidget> w;
    if (loginForm) {
        auto form = std::make_unique<FirstFrameReporter<QMainWindow>>();
        addLoginForm(*form);
        w = std::move(form);
    } else {
        w = std::make_unique<FirstFrameReporter<QWidget>>();
    }
    if (chineseLabel) {
        auto* label =
            new QLabel("珀岚聊天 帐号 密码 记住密码 自动登录 登录 取消 未登录用户 状态：未登录", w.get());
        label->setWordWrap(true);
        label->setGeometry(10, 10, 280, 120);
    }
    w->setWindowTitle("bare");
    w->resize(300, 600);
    w->show();
    return app.exec();
}
