#pragma once
// The program's one global hotkey on top of a HotkeyGrabber. Its state is the module's: whether
// presses are being taken (the hook that a successful "Add" sets and "Del" takes away), the
// identifier, the mask and the key of the last call.
//
// "Del" unregisters the stored key, which the call has just zeroed, rather than the identifier:
// the system keeps the old key until the process ends, and a later "Add" of the same identifier
// puts a second key beside it. While no "Add" is in force, presses of either do nothing.

#include <QObject>
#include <cstdint>
#include <memory>
#include <string_view>

#include "desktop/hotkey_grabber.h"

namespace nq {

class GlobalHotkey : public QObject {
    Q_OBJECT
  public:
    explicit GlobalHotkey(std::unique_ptr<HotkeyGrabber> grabber, QObject* parent = nullptr);
    ~GlobalHotkey() override;

    // action is "Add" or "Del"; any other action only resets the state. id is 1 in the program.
    void ApplyHotkey(int id, std::string_view text, std::string_view action);

    bool hooked() const { return hooked_; }
    int id() const { return id_; }
    std::uint16_t mask() const { return mask_; }
    int key() const { return key_; }

  signals:
    // A press of a registered key of identifier 1 while the hook is in place: fetch the next
    // waiting message.
    void fetchRequested();
    // Identifiers 2 and 3 are placeholders of the old program that show "bb" and "cc"; nothing
    // registers them.
    void placeholder(const QString& text);

  private:
    void pressed(int id);

    std::unique_ptr<HotkeyGrabber> grabber_;
    bool hooked_ = false;
    int id_ = 0;
    std::uint16_t mask_ = 0;
    int key_ = 0;
};

}  // namespace nq
