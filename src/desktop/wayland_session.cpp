#include "desktop/wayland_session.h"

#include <cstring>

namespace nq {

namespace {
bool set(const char* value) {
    return value != nullptr && *value != '\0';
}
}  // namespace

bool waylandSession(const char* waylandDisplay, const char* sessionType) {
    return set(waylandDisplay) || (sessionType != nullptr && std::strcmp(sessionType, "wayland") == 0);
}

bool chooseXWayland(bool wayland, const char* display, const char* qpaPlatform, bool platformArgument) {
    return wayland && set(display) && !set(qpaPlatform) && !platformArgument;
}

}  // namespace nq
