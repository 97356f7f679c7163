#include "desktop/global_hotkey.h"

#include <QString>

#include "desktop/hotkey_text.h"

namespace nq {

GlobalHotkey::GlobalHotkey(std::unique_ptr<HotkeyGrabber> grabber, QObject* parent)
    : QObject(parent), grabber_(std::move(grabber)) {
    grabber_->onPressed([this](int id) { pressed(id); });
}

GlobalHotkey::~GlobalHotkey() = default;

void GlobalHotkey::ApplyHotkey(int id, std::string_view text, std::string_view action) {
    const HotkeySpec spec = parseHotkey(text);
    id_ = 0;
    mask_ = 0;
    key_ = 0;
    id_ = id;
    if (action == "Add") {
        mask_ = spec.mask;
        key_ = spec.virtualKey;
        grabber_->RegisterHotKey(id_, mask_, key_);
        hooked_ = true;
    } else if (action == "Del") {
        hooked_ = false;
        grabber_->UnregisterHotKey(key_);
    }
}

void GlobalHotkey::pressed(int id) {
    if (!hooked_) return;
    if (id == 1) emit fetchRequested();
    if (id == 2) emit placeholder(QStringLiteral("bb"));
    if (id == 3) emit placeholder(QStringLiteral("cc"));
}

}  // namespace nq
