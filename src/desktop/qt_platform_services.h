#pragma once
// The platform services of the real program: Qt message boxes, sound effects, detached
// processes, the desktop's URL handler, the system clock, the process exit and the toast.

#include <QObject>
#include <QPointer>
#include <QString>
#include <QWidget>

#include "desktop/sound_module.h"
#include "desktop/toast_board.h"
#include "session/platform_services.h"

namespace nq {

class QtPlatformServices : public PlatformServices {
  public:
    QtPlatformServices();
    ~QtPlatformServices() override;
    QtPlatformServices(const QtPlatformServices&) = delete;
    QtPlatformServices& operator=(const QtPlatformServices&) = delete;

    // Boxes are owned by it and toasts report their Ok to it; set once the main window exists.
    void setMainWindow(QWidget* mainWindow) { mainWindow_ = mainWindow; }
    QWidget* mainWindow() const { return mainWindow_; }

    BoxAnswer messageBox(const std::string& text, const std::string& title, BoxButtons buttons,
                         BoxIcon icon) override;
    // Plays the file once through a sound effect that lives until it has finished or failed.
    // Windows-style "\" separators are accepted. An empty path plays nothing. The sound
    // module is loaded at the first call.
    void playSound(const std::string& path) override;
    bool startDetached(const std::string& program, const std::vector<std::string>& args) override;
    void openUrl(const std::string& url) override;
    std::chrono::system_clock::time_point now() override;
    // Flushes the standard streams and ends the process without running destructors.
    void exitProcess(int code) override;
    void showToast(const std::string& text, int milliseconds, const std::string& soundPath) override;

    // Sounds started and not yet finished or failed.
    int soundsPlaying() const;
    // What the toasts it opens share: their slots and the stored transparency they load with.
    ToastBoard& toasts() { return toasts_; }

    // Where the sound module is; the executable's folder unless set.
    void setSoundModuleFolder(const QString& folder) { soundModuleFolder_ = folder; }

  private:
    QPointer<QWidget> mainWindow_;
    ToastBoard toasts_{*this};
    QObject* sounds_;  // parent of the live sound effects
    QString soundModuleFolder_;
    bool soundLoaded_ = false;
    PlaySoundFunction play_ = nullptr;
};

}  // namespace nq
