#pragma once
// The head image list shared by the contact lists, the group tree and the chat windows, painted.
// Index 1..20 are people online (1..10 men, 11..20 women, as the head codes m0..m9 and w1..w10
// map), 21..40 the same people offline, 41 an empty-faced stand-in, 42 the group creator's crown.
// Head 1 doubles as the group icon and head 13 as the chat room icon, so they show a group and a
// house instead of one person.

#include <QImage>

namespace nq::assets {

inline constexpr int kHeadCells = 42;
inline constexpr int kPeople = 20;

// The whole list as one strip: cell i (1-based) at x = (i - 1) * cell, transparent background.
QImage headStrip(int cell);

// Head index (1..kPeople) on its own square of size pixels, opaque on a soft backdrop, for the
// chat window.
QImage largeHead(int index, int size);

// A head's offline twin: grey, lighter and slightly see-through.
QImage offlineHead(const QImage& online);

}  // namespace nq::assets
