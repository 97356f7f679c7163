#include "asset_maker/heads.h"

#include <QLinearGradient>
#include <QPainter>

#include <array>

#include "asset_maker/head_icons.h"
#include "asset_maker/head_parts.h"

namespace nq::assets {

namespace {

using enum Face;
using enum Hair;

// Skin tones, light to deep.
constexpr QRgb kPale = 0xffffe0c8, kFair = 0xfffad2b4, kWarm = 0xffefbf98, kTan = 0xffd49a6c,
               kBrown = 0xffa8704c, kDeep = 0xff7d5037;

// Head index 1..20; the entries for 1 and 13 are the people standing in the group icon and
// unused for the room icon, which paint their own pictures.
constexpr std::array<Person, kPeople> kHeads{{
    {Round, Short, kFair, 0xff2b211c, 0xff3f86e0, 0, 0, false},                             // 1 (group)
    {Round, Short, kFair, 0xff5a3b24, 0xff3f86e0, 0, 0, false},                             // 2
    {Oval, Spiky, kWarm, 0xff23232b, 0xffe2463d, 0, 0, false},                              // 3
    {Square, SidePart, kPale, 0xffe9bd4f, 0xff3fae5a, 0, 0, false},                         // 4
    {Square, Short, kFair, 0xff3a2a22, 0xff7a5cc8, 0, kGlasses, false},                     // 5
    {Round, Short, kTan, 0xff2b211c, 0xff2a9d8f, 0xfff08a24, kCap, false},                  // 6
    {Oval, Curly, kBrown, 0xff1f1714, 0xfff2c230, 0, 0, false},                             // 7
    {Square, Balding, kWarm, 0xffc9c3bd, 0xff9a6a3e, 0, kMoustache | kGlasses, false},      // 8
    {Round, SidePart, kPale, 0xffd0662a, 0xff20a7b8, 0, kFreckles, false},                  // 9
    {Oval, Short, kDeep, 0xff15110f, 0xff2f4f9a, 0xffe2463d, kHeadphones | kBeard, false},  // 10
    {Oval, Long, kFair, 0xff241c1c, 0xffee6fa5, 0, kEarrings, true},                        // 11
    {Round, Pigtails, kPale, 0xfff0c85a, 0xff5fb3f0, 0xffe8447a, 0, true},                  // 12
    {Round, Bob, kFair, 0xff5a3b24, 0xfff08a24, 0, 0, true},                                // 13 (room)
    {Round, Bob, kWarm, 0xff6a4226, 0xfff2c230, 0, 0, true},                                // 14
    {Oval, Ponytail, kPale, 0xffb5532a, 0xff4caf50, 0xff8e44ad, kFreckles, true},           // 15
    {Oval, Bun, kTan, 0xff3b2418, 0xff8e5bd6, 0xfff2c230, kEarrings, true},                 // 16
    {Round, Afro, kDeep, 0xff1c1412, 0xfff07a2e, 0xfff2c230, kEarrings, true},              // 17
    {Oval, Wavy, kFair, 0xffeec05a, 0xffe2463d, 0xffff8fb8, kFlower, true},                 // 18
    {Round, Pixie, kWarm, 0xff2a2226, 0xff1fa58f, 0xffe8447a, kGlasses | kEarrings | kBow, true},  // 19
    {Round, Curled, kPale, 0xffd6d3d0, 0xff5b6fc4, 0xfff5f1e8, kGlasses | kPearls, true},          // 20
}};

// A backdrop tint for the large pictures, from the shirt so that each person keeps one colour.
QColor backdropOf(QRgb shirt) {
    const QColor c(shirt);
    return QColor::fromHsv(c.hsvHue(), 46, 250);
}

void paintCell(QPainter& p, int index, const Strokes& s) {
    switch (index) {
        case 1:
            paintGroup(p, kHeads[0], kHeads[13], kHeads[8], s);
            return;
        case 13:
            paintRoom(p, s);
            return;
        case 41:
            paintStandIn(p, s);
            return;
        case 42:
            paintCrown(p, s);
            return;
        default:
            if (index <= kPeople)
                paintPerson(p, kHeads[size_t(index - 1)], s);
            else
                paintCell(p, index - kPeople, s);
    }
}

}  // namespace

QImage offlineHead(const QImage& online) {
    QImage img = online.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < img.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(img.scanLine(y));
        for (int x = 0; x < img.width(); ++x) {
            // Grey squeezed towards light so that an offline row looks faded beside an online one
            // but keeps its outline; four fifths opaque on top.
            const int v = 84 + qGray(line[x]) * 156 / 255;
            line[x] = qRgba(v, v, v, qAlpha(line[x]) * 4 / 5);
        }
    }
    return img;
}

QImage headStrip(int cell) {
    QImage strip(cell * kHeadCells, cell, QImage::Format_ARGB32_Premultiplied);
    strip.fill(Qt::transparent);
    const Strokes s{1.0, false};
    for (int i = 1; i <= kHeadCells; ++i) {
        QImage one(cell, cell, QImage::Format_ARGB32_Premultiplied);
        one.fill(Qt::transparent);
        {
            QPainter p(&one);
            p.setRenderHint(QPainter::Antialiasing);
            p.scale(cell / 32.0, cell / 32.0);
            paintCell(p, i, s);
        }
        if (i > kPeople && i <= 2 * kPeople) one = offlineHead(one);
        QPainter(&strip).drawImage((i - 1) * cell, 0, one);
    }
    return strip;
}

QImage largeHead(int index, int size) {
    QImage img(size, size, QImage::Format_RGB32);
    const QColor back =
        index == 1 || index == 13 ? QColor(0xd6, 0xea, 0xfb) : backdropOf(kHeads[size_t(index - 1)].shirt);
    QLinearGradient g(0, 0, 0, size);
    g.setColorAt(0, back.lighter(106));
    g.setColorAt(1, back.darker(108));
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(img.rect(), g);
    p.scale(size / 32.0, size / 32.0);
    paintCell(p, index, Strokes{0.6, true});
    return img;
}

}  // namespace nq::assets
