#include "desktop/x11_window_frame.h"

#include <QGuiApplication>
#include <QWidget>
#include <QWindow>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>

#include <xcb/xcb.h>

namespace nq {

namespace {

xcb_connection_t* connection() {
    auto* x11 = qApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 != nullptr ? x11->connection() : nullptr;
}

template <typename Reply>
using ReplyPtr = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply>
ReplyPtr<Reply> owned(Reply* reply) {
    return ReplyPtr<Reply>(reply, &std::free);
}

// The X window of the widget, without making one: asking a widget for its id would create it.
std::optional<xcb_window_t> nativeWindow(const QWidget* window) {
    if (window == nullptr || window->windowHandle() == nullptr || window->windowHandle()->handle() == nullptr)
        return std::nullopt;
    return static_cast<xcb_window_t>(window->windowHandle()->winId());
}

std::optional<QRect> geometryOf(xcb_connection_t* c, xcb_window_t window, xcb_window_t root) {
    const auto g = owned(xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr));
    if (!g) return std::nullopt;
    const auto at =
        owned(xcb_translate_coordinates_reply(c, xcb_translate_coordinates(c, window, root, 0, 0), nullptr));
    if (!at) return std::nullopt;
    // The border, if any, lies outside the window's own origin on both sides.
    const int border = g->border_width;
    return QRect(at->dst_x - border, at->dst_y - border, g->width + 2 * border, g->height + 2 * border);
}

xcb_window_t rootOf(xcb_connection_t* c) {
    return xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
}

bool managerRuns(xcb_connection_t* c) {
    constexpr std::string_view kCheck = "_NET_SUPPORTING_WM_CHECK";
    const xcb_intern_atom_cookie_t cookie = xcb_intern_atom(c, 1, kCheck.size(), kCheck.data());
    const auto atom = owned(xcb_intern_atom_reply(c, cookie, nullptr));
    if (!atom || atom->atom == XCB_ATOM_NONE) return false;
    const auto prop = owned(xcb_get_property_reply(
        c, xcb_get_property(c, 0, rootOf(c), atom->atom, XCB_ATOM_WINDOW, 0, 1), nullptr));
    return prop && xcb_get_property_value_length(prop.get()) > 0;
}

// Until the manager has framed a window that it is given and shown the frame, the window may
// still lie at the frame's corner, and a move of it would not count the frame.
void waitUntilFramed(xcb_connection_t* c, xcb_window_t window) {
    if (!managerRuns(c)) return;
    constexpr auto kPoll = std::chrono::milliseconds(5);
    constexpr int kPolls = 60;
    for (int i = 0; i < kPolls; ++i) {
        const auto tree = owned(xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
        const auto shown =
            owned(xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
        if (!tree || !shown || (tree->parent != tree->root && shown->map_state == XCB_MAP_STATE_VIEWABLE))
            return;
        std::this_thread::sleep_for(kPoll);
    }
}

// An unmapped window goes back to the root when the manager lets it go; until then the manager
// may still place it, over the place that the program gives it next.
void waitUntilReleased(xcb_connection_t* c, xcb_window_t window) {
    constexpr auto kPoll = std::chrono::milliseconds(5);
    constexpr int kPolls = 60;
    for (int i = 0; i < kPolls; ++i) {
        const auto tree = owned(xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
        if (!tree || tree->parent == tree->root) return;
        std::this_thread::sleep_for(kPoll);
    }
}

}  // namespace

std::optional<QRect> x11OuterGeometry(const QWidget* window) {
    xcb_connection_t* c = connection();
    std::optional<xcb_window_t> w = nativeWindow(window);
    if (c == nullptr || !w) return std::nullopt;
    // Out of the manager's hands nothing frames it, even while the manager has yet to let go.
    if (window->windowFlags().testFlag(Qt::X11BypassWindowManagerHint)) return geometryOf(c, *w, rootOf(c));
    // A reparenting manager puts the window into a frame, itself a child of the root; climb to it.
    for (;;) {
        const auto tree = owned(xcb_query_tree_reply(c, xcb_query_tree(c, *w), nullptr));
        if (!tree) return std::nullopt;
        if (tree->parent == tree->root || tree->parent == XCB_WINDOW_NONE)
            return geometryOf(c, *w, tree->root);
        w = tree->parent;
    }
}

bool setWindowManaged(QWidget* window, bool managed) {
    xcb_connection_t* c = connection();
    if (window == nullptr || c == nullptr) return false;
    if (window->windowFlags().testFlag(Qt::X11BypassWindowManagerHint) != managed) return false;
    const bool visible = window->isVisible();
    const QPoint corner = x11OuterGeometry(window).value_or(window->frameGeometry()).topLeft();
    if (const std::optional<xcb_window_t> w = nativeWindow(window); w && visible && !managed) {
        window->hide();
        waitUntilReleased(c, *w);
    }
    // The new flag takes an unmapped window. Unframed, the window stands at its old frame's
    // corner, and a new frame is moved there, so that repeated hiding does not walk it sideways.
    window->setWindowFlag(Qt::X11BypassWindowManagerHint, !managed);
    if (visible) {
        window->setGeometry(QRect(corner, window->size()));
        window->show();
        window->raise();
        if (const std::optional<xcb_window_t> w = nativeWindow(window); w && managed) {
            waitUntilFramed(c, *w);
            x11MoveOuterTo(window, corner);
        }
    }
    return true;
}

bool x11MoveOuterTo(QWidget* window, QPoint to) {
    xcb_connection_t* c = connection();
    const std::optional<xcb_window_t> w = nativeWindow(window);
    if (c == nullptr || !w) return false;
    const std::optional<QRect> outer = x11OuterGeometry(window);
    const std::optional<QRect> inside = geometryOf(c, *w, rootOf(c));
    if (!outer || !inside) return false;
    // Qt learns of a new frame late and would place the frame by the margins it knew before.
    window->setGeometry(QRect(to + (inside->topLeft() - outer->topLeft()), window->size()));
    return true;
}

}  // namespace nq
