#pragma once
// One person of the head list, described and painted. All coordinates are in a 32 x 32 cell;
// the painter's transform scales them to the picture.

#include <QColor>
#include <QPainter>
#include <QPainterPath>

namespace nq::assets {

enum class Face { Round, Oval, Square };

enum class Hair {
    Short,
    Spiky,
    SidePart,
    Curly,
    Balding,
    Long,
    Bob,
    Ponytail,
    Bun,
    Pigtails,
    Afro,
    Wavy,
    Pixie,
    Curled
};

enum Extra : unsigned {
    kGlasses = 1u << 0,
    kMoustache = 1u << 1,
    kBeard = 1u << 2,
    kFreckles = 1u << 3,
    kCap = 1u << 4,         // in the accent colour
    kHeadphones = 1u << 5,  // in the accent colour
    kEarrings = 1u << 6,
    kPearls = 1u << 7,
    kFlower = 1u << 8,  // in the accent colour
    kBow = 1u << 9,     // in the accent colour
};

struct Person {
    Face face;
    Hair hair;
    QRgb skin, hairColour, shirt;
    QRgb accent;  // hair ties, cap, flower, headphones
    unsigned extras;
    bool woman;  // narrower shoulders, lashes, a coloured mouth
};

struct Strokes {
    qreal line;   // outline width in cell units
    bool detail;  // room for eye highlights (large pictures only)
};

// Fills path with a soft top-to-bottom shade of fill and outlines it in a darker shade.
void paintShape(QPainter& p, const QPainterPath& path, const QColor& fill, const Strokes& s);

void paintPerson(QPainter& p, const Person& who, const Strokes& s);

}  // namespace nq::assets
