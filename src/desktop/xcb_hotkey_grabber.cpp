#include "desktop/xcb_hotkey_grabber.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <array>
#include <cstdlib>

#include <xcb/xcb.h>

#include "desktop/hotkey_text.h"

namespace nq {

namespace {

// Lock keys that may be lit while the hotkey is pressed: none, CapsLock, NumLock (Mod2), both.
constexpr std::array<std::uint16_t, 4> kLockVariants{0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2,
                                                     XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};
// The modifier bits that tell one hotkey from another; the lock keys and mouse buttons do not.
constexpr std::uint16_t kSignificant =
    XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

}  // namespace

xcb_connection_t* XcbHotkeyGrabber::qtConnection() {
    auto* x11 = qApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 != nullptr ? x11->connection() : nullptr;
}

XcbHotkeyGrabber::XcbHotkeyGrabber(xcb_connection_t* connection) : connection_(connection) {
    if (connection_ == nullptr) return;
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    QCoreApplication::instance()->installNativeEventFilter(this);
}

XcbHotkeyGrabber::~XcbHotkeyGrabber() {
    if (connection_ == nullptr) return;
    if (QCoreApplication::instance() != nullptr) QCoreApplication::instance()->removeNativeEventFilter(this);
    for (const Grab& g : grabs_)
        for (std::uint16_t lock : kLockVariants)
            xcb_ungrab_key(connection_, g.keycode, root_, g.modifiers | lock);
    xcb_flush(connection_);
}

std::uint8_t XcbHotkeyGrabber::keycodeOf(std::uint32_t keysym) const {
    const xcb_setup_t* setup = xcb_get_setup(connection_);
    const int first = setup->min_keycode;
    const int count = setup->max_keycode - first + 1;
    xcb_get_keyboard_mapping_reply_t* reply = xcb_get_keyboard_mapping_reply(
        connection_,
        xcb_get_keyboard_mapping(connection_, setup->min_keycode, static_cast<std::uint8_t>(count)), nullptr);
    if (reply == nullptr) return 0;
    const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(reply);
    const int perCode = reply->keysyms_per_keycode;
    std::uint8_t found = 0;
    // The unshifted column first: a digit must not resolve to a key that gives it only shifted.
    for (int column = 0; column < std::min(perCode, 2) && found == 0; ++column)
        for (int i = 0; i < count && found == 0; ++i)
            if (syms[i * perCode + column] == keysym) found = static_cast<std::uint8_t>(first + i);
    std::free(reply);
    return found;
}

void XcbHotkeyGrabber::RegisterHotKey(int id, std::uint16_t mask, int virtualKey) {
    if (connection_ == nullptr) return;
    const std::uint32_t keysym = x11Keysym(virtualKey);
    const std::uint8_t keycode = keysym != 0 ? keycodeOf(keysym) : 0;
    if (keycode == 0) return;
    const std::uint16_t modifiers = x11Modifiers(mask);
    bool held = true;
    for (std::uint16_t lock : kLockVariants) {
        xcb_void_cookie_t cookie = xcb_grab_key_checked(connection_, 1, root_, modifiers | lock, keycode,
                                                        XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        // Another client holding the key answers BadAccess; the registration then fails quietly.
        if (xcb_generic_error_t* error = xcb_request_check(connection_, cookie)) {
            held = held && lock != 0;
            std::free(error);
        }
    }
    if (!held) {
        for (std::uint16_t lock : kLockVariants)
            xcb_ungrab_key(connection_, keycode, root_, modifiers | lock);
        xcb_flush(connection_);
        return;
    }
    // Registering the same key under the same identifier twice leaves one registration.
    for (const Grab& g : grabs_)
        if (g.id == id && g.keycode == keycode && g.modifiers == modifiers) return;
    grabs_.push_back({id, keycode, modifiers});
}

void XcbHotkeyGrabber::UnregisterHotKey(int id) {
    if (connection_ == nullptr) return;
    std::erase_if(grabs_, [&](const Grab& g) {
        if (g.id != id) return false;
        for (std::uint16_t lock : kLockVariants)
            xcb_ungrab_key(connection_, g.keycode, root_, g.modifiers | lock);
        return true;
    });
    xcb_flush(connection_);
}

bool XcbHotkeyGrabber::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t") return false;
    auto* event = static_cast<xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_KEY_PRESS) return false;
    auto* press = reinterpret_cast<xcb_key_press_event_t*>(event);
    if (press->event != root_) return false;
    const std::uint16_t state = press->state & kSignificant;
    bool taken = false;
    // Copied: a handler may register or unregister keys while we walk.
    const std::vector<Grab> grabs = grabs_;
    for (const Grab& g : grabs) {
        if (g.keycode != press->detail || g.modifiers != state) continue;
        taken = true;
        if (handler_) handler_(g.id);
    }
    return taken;
}

}  // namespace nq
