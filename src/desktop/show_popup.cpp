#include "desktop/show_popup.h"

#include <new>

#include "desktop/frm_msn_style.h"

namespace nq {

namespace {
constexpr int kOutOfMemory = 7;
}

frmMsnStyle* ShowPopup(ToastBoard& board, QWidget* parent, const QString& text, int time,
                       const QString& sound, int* error) {
    frmMsnStyle* toast = nullptr;
    try {
        toast = new frmMsnStyle(board);
    } catch (const std::bad_alloc&) {
        if (error != nullptr) *error = kOutOfMemory;
        return nullptr;
    }
    toast->Alert(text, time, sound);
    toast->setCaller(parent);
    if (error != nullptr) *error = 0;
    return toast;
}

}  // namespace nq
