#pragma once
// The pictures of the head list that are not one person: the group, the chat room, the stand-in
// for an unknown head and the creator's crown. Coordinates in a 32 x 32 cell, like head_parts.h.

#include <QPainter>

#include "asset_maker/head_parts.h"

namespace nq::assets {

// Three people: front in the middle, the other two half hidden behind.
void paintGroup(QPainter& p, const Person& front, const Person& backLeft, const Person& backRight,
                const Strokes& s);

// A little house with an arched door and a speech bubble.
void paintRoom(QPainter& p, const Strokes& s);

// A faceless light grey head and shoulders.
void paintStandIn(QPainter& p, const Strokes& s);

// A gold crown, smaller than a head, that sits at the right of a row beside the creator's head.
void paintCrown(QPainter& p, const Strokes& s);

}  // namespace nq::assets
