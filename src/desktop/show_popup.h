#pragma once
// ShowPopup, the one way the program opens a toast.
//
// A free function of the desktop library rather than a member of CGradient: the widget kit must
// not depend on the desktop library that holds the toast window, and the toast needs the board
// that all toasts share.

#include <QString>

class QWidget;

namespace nq {

class ToastBoard;
class frmMsnStyle;

// Creates a toast, runs its Alert with the text, the display time in ms (0 = until Ok is
// clicked) and the sound file, then hands it the calling window, whose "MsgBack" the Ok button
// calls. *error (when given) becomes 0 on success and the error number when the window cannot
// be created (7, out of memory). Returns the toast, which deletes itself when it unloads.
frmMsnStyle* ShowPopup(ToastBoard& board, QWidget* parent, const QString& text, int time,
                       const QString& sound, int* error = nullptr);

}  // namespace nq
