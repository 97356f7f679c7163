#pragma once
// The chat faces: face/<n>.gif and keywords.kwd, from one table. A face's number is its row in
// the table plus one, and its keyword is what a user types after "/" to send it.

#include <QByteArray>
#include <QPainter>

#include <vector>

#include "asset_maker/gif_writer.h"

namespace nq::assets {

struct FaceDef {
    const char* keyword;                    // ASCII; no keyword is the start of another
    std::vector<int> delaysCs;              // how long each frame shows (1/100 s); one entry: a still picture
    void (*paint)(QPainter& p, int frame);  // paints frame number frame on a clear 28 x 28 picture
};

const std::vector<FaceDef>& faceSet();

// The frames of one face, 28 x 28, ready for encodeGif.
std::vector<GifFrame> faceFrames(const FaceDef& face);

// keywords.kwd: section "face" with "num" and, for each face index i from 0, key i = keyword;
// section "key" mapping each keyword back to its index. CR LF line ends, as profile files have.
QByteArray keywordFile();

// Painters of the faces that are things rather than heads (face_things.cpp).
namespace things {
void rose(QPainter& p, int frame);
void heart(QPainter& p, int frame);
void broken(QPainter& p, int frame);
void good(QPainter& p, int frame);
void bad(QPainter& p, int frame);
void beer(QPainter& p, int frame);
void cake(QPainter& p, int frame);
void sun(QPainter& p, int frame);
void moon(QPainter& p, int frame);
void bomb(QPainter& p, int frame);
void gift(QPainter& p, int frame);
void pig(QPainter& p, int frame);
}  // namespace things

}  // namespace nq::assets
