#pragma once
// GIF through giflib, since Qt's image plugins here read GIF but cannot write it.

#include <QByteArray>
#include <QImage>
#include <QString>

#include <vector>

namespace nq::assets {

struct GifFrame {
    QImage image;     // every frame has the first frame's size
    int delayCs = 0;  // time this frame stays up, in hundredths of a second (GIF's unit)
};

// One GIF holding all frames with one palette; more than one frame makes it loop forever.
// Pixels with alpha below 128 become the transparent index; the others are blended onto white,
// the colour of the chat windows they are shown on, because GIF has no partial transparency.
// Up to 255 distinct colours are kept exactly; more are reduced by giflib's median cut.
// Returns an empty array and sets *error when the frames cannot be encoded.
[[nodiscard]] QByteArray encodeGif(const std::vector<GifFrame>& frames, QString* error);

}  // namespace nq::assets
