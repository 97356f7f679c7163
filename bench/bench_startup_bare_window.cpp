// The floor for the start-up benchmark: the barest Qt widgets window of nqchat's size, which
// reports its first painted frame the same way nqchat does (NQ_READY_FD). With --chinese-label
// it also shows one label of Chinese text, which tells how much of nqchat's cost is simply
// that of rendering CJK glyphs at all.

#include <QApplication>
#include <QLabel>
#include <QTimer>
#include <QWidget>
#include <cstring>

#include "app/ready_signal.h"

namespace {

class BareWindow : public QWidget {
  protected:
    void paintEvent(QPaintEvent*) override {
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

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    BareWindow w;
    w.setWindowTitle("bare");
    w.resize(300, 600);
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--chinese-label") == 0) {
            auto* label =
                new QLabel("珀岚聊天 帐号 密码 记住密码 自动登录 登录 取消 未登录用户 状态：未登录", &w);
            label->setWordWrap(true);
            label->setGeometry(10, 10, 280, 120);
        }
    }
    w.show();
    return app.exec();
}
