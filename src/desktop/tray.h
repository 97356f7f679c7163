#pragma once
// The program's one icon in the notification area, owned by the application. Its picture
// follows TrayIconState; the record below is the plain state the icon was last given, so that
// it can be read where no notification area exists (QSystemTrayIcon is unavailable offscreen
// and under a bare X server).
//
// Flashing is a caller that sets TrayIconState and calls TraySetIcon on its own timer.

#include <QByteArray>
#include <QIcon>
#include <QObject>
#include <QPointer>
#include <QString>

#include <cstdint>

class QSystemTrayIcon;
class QWidget;

namespace nq {

enum class TrayPicture { None, MainWindowIcon, NotLoggedIn };
enum class TrayClick { Left, Right };

// The tip holds at most this many bytes of GBK text (a 128-byte record with its closing NUL).
constexpr int kTrayTipBytes = 127;

struct TrayRecord {
    bool added = false;        // between TrayAdd and TrayRemove
    QPointer<QWidget> window;  // the main window the icon belongs to
    QString tip;               // the tip as shown, after the cut
    QByteArray tipGbk;         // the tip's GBK bytes, at most kTrayTipBytes
    TrayPicture picture = TrayPicture::None;
    QIcon icon;  // the icon handed to the notification area
};

class Tray : public QObject {
    Q_OBJECT
  public:
    explicit Tray(QObject* parent = nullptr);
    ~Tray() override;

    // Which picture TraySetIcon gives: 0 none (the dark phase of a flash), 1 the main window's
    // icon (logged in), 2 the "not logged in" picture. Any other value keeps the last picture.
    std::int16_t TrayIconState = 2;

    // Adds the icon with the main window's own icon and the tip ("珀岚聊天" at the main
    // window's load).
    void TrayAdd(QWidget* mainWindow, const QString& tip);
    // Takes the icon out of the notification area (the main window's unload, a forced log-off).
    void TrayRemove();
    // Gives the icon the picture that TrayIconState names.
    void TraySetIcon(QWidget* mainWindow);

    const TrayRecord& record() const { return record_; }
    // The live icon between TrayAdd and TrayRemove, null otherwise.
    QSystemTrayIcon* icon() const;

  signals:
    // Left click (activation) and right click (context request) on the icon.
    void clicked(TrayClick click);

  private:
    TrayRecord record_;
    QPointer<QSystemTrayIcon> icon_;
};

// The tip text cut to kTrayTipBytes bytes of GBK; a two-byte character that the cut would
// split is left out whole.
QByteArray trayTipBytes(const QString& tip);

// The program's mark in colour (windows and the logged-in tray icon) and in grey (not logged in),
// from the resources compiled into the program, at 16 and 32 pixels.
QIcon appIcon();
QIcon notLoggedInIcon();

}  // namespace nq
