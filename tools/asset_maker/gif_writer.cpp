#include "asset_maker/gif_writer.h"

#include <gif_lib.h>

#include <unordered_map>

namespace nq::assets {

namespace {

constexpr int kMaxExactColours = 255;  // the 256th index is kept for transparency

struct Indexed {
    std::vector<std::vector<GifByteType>> frames;  // one palette index per pixel, row by row
    std::vector<GifColorType> palette;
    int transparent = NO_TRANSPARENT_COLOR;
};

// The frames' pixels as 0xRRGGBB, or -1 where the pixel is to be transparent.
std::vector<std::vector<int64_t>> flatten(const std::vector<GifFrame>& frames) {
    std::vector<std::vector<int64_t>> out;
    for (const GifFrame& f : frames) {
        const QImage img = f.image.convertToFormat(QImage::Format_ARGB32);
        std::vector<int64_t> px;
        px.reserve(size_t(img.width()) * size_t(img.height()));
        for (int y = 0; y < img.height(); ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(img.constScanLine(y));
            for (int x = 0; x < img.width(); ++x) {
                const int a = qAlpha(line[x]);
                if (a < 128) {
                    px.push_back(-1);
                    continue;
                }
                const auto onWhite = [a](int c) { return (c * a + 255 * (255 - a) + 127) / 255; };
                px.push_back(
                    int64_t(qRgb(onWhite(qRed(line[x])), onWhite(qGreen(line[x])), onWhite(qBlue(line[x])))) &
                    0xffffff);
            }
        }
        out.push_back(std::move(px));
    }
    return out;
}

Indexed toIndexed(const std::vector<std::vector<int64_t>>& frames) {
    Indexed ix;
    // Palette order is first appearance, so the same pictures always give the same bytes.
    std::unordered_map<int64_t, int> exact;
    bool anyTransparent = false;
    size_t opaque = 0;
    for (const auto& f : frames)
        for (int64_t p : f) {
            if (p < 0) {
                anyTransparent = true;
                continue;
            }
            ++opaque;
            if (exact.size() <= kMaxExactColours && exact.emplace(p, int(exact.size())).second)
                ix.palette.push_back({GifByteType(p >> 16), GifByteType(p >> 8), GifByteType(p)});
        }
    std::vector<GifByteType> reduced;
    if (exact.size() > kMaxExactColours) {
        std::vector<GifByteType> r, g, b;
        for (const auto& f : frames)
            for (int64_t p : f)
                if (p >= 0) r.push_back(p >> 16), g.push_back(p >> 8), b.push_back(p);
        int size = kMaxExactColours;
        ix.palette.assign(size_t(size), GifColorType{});
        reduced.resize(opaque);
        GifQuantizeBuffer(unsigned(opaque), 1, &size, r.data(), g.data(), b.data(), reduced.data(),
                          ix.palette.data());
        ix.palette.resize(size_t(size));
    }
    if (anyTransparent) {
        ix.transparent = int(ix.palette.size());
        ix.palette.push_back({0, 0, 0});
    }
    size_t next = 0;
    for (const auto& f : frames) {
        std::vector<GifByteType> out;
        out.reserve(f.size());
        for (int64_t p : f) {
            if (p < 0)
                out.push_back(GifByteType(ix.transparent));
            else
                out.push_back(reduced.empty() ? GifByteType(exact.at(p)) : reduced[next++]);
        }
        ix.frames.push_back(std::move(out));
    }
    return ix;
}

int appendToByteArray(GifFileType* gif, const GifByteType* data, int len) {
    static_cast<QByteArray*>(gif->UserData)->append(reinterpret_cast<const char*>(data), len);
    return len;
}

}  // namespace

QByteArray encodeGif(const std::vector<GifFrame>& frames, QString* error) {
    auto fail = [error](const QString& why) {
        if (error) *error = why;
        return QByteArray();
    };
    if (frames.empty()) return fail(QStringLiteral("no frames"));
    const QSize size = frames.front().image.size();
    if (size.isEmpty() || size.width() > 0xffff || size.height() > 0xffff)
        return fail(QStringLiteral("frame size out of range"));
    for (const GifFrame& f : frames) {
        if (f.image.size() != size) return fail(QStringLiteral("frames differ in size"));
        if (f.delayCs < 0 || f.delayCs > 0xffff) return fail(QStringLiteral("delay out of range"));
    }
    Indexed ix = toIndexed(flatten(frames));

    // GIF colour tables hold a power of two entries, at least two.
    int tableSize = 2;
    while (tableSize < int(ix.palette.size())) tableSize *= 2;
    std::vector<GifColorType> table(ix.palette);
    table.resize(size_t(tableSize), GifColorType{0, 0, 0});

    QByteArray out;
    int err = 0;
    GifFileType* gif = EGifOpen(&out, appendToByteArray, &err);
    if (!gif) return fail(QString::fromUtf8(GifErrorString(err)));
    EGifSetGifVersion(gif, true);  // graphic control blocks (delay, transparency) need GIF89a
    ColorMapObject* map = GifMakeMapObject(tableSize, table.data());
    bool ok = map && EGifPutScreenDesc(gif, size.width(), size.height(), 8,
                                       ix.transparent < 0 ? 0 : ix.transparent, map) == GIF_OK;
    GifFreeMapObject(map);
    if (ok && frames.size() > 1) {
        // The application block that browsers and Qt read as "repeat forever" (count 0).
        static const GifByteType kLoopApp[] = "NETSCAPE2.0";
        static const GifByteType kLoopForever[] = {1, 0, 0};
        ok = EGifPutExtensionLeader(gif, APPLICATION_EXT_FUNC_CODE) == GIF_OK &&
             EGifPutExtensionBlock(gif, 11, kLoopApp) == GIF_OK &&
             EGifPutExtensionBlock(gif, 3, kLoopForever) == GIF_OK && EGifPutExtensionTrailer(gif) == GIF_OK;
    }
    for (size_t i = 0; ok && i < frames.size(); ++i) {
        GraphicsControlBlock gcb{};
        // Each frame replaces the last one whole, so transparent pixels never show the previous face.
        gcb.DisposalMode = DISPOSE_BACKGROUND;
        gcb.DelayTime = frames[i].delayCs;
        gcb.TransparentColor = ix.transparent;
        GifByteType ext[4];
        const size_t extLen = EGifGCBToExtension(&gcb, ext);
        ok = EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, int(extLen), ext) == GIF_OK &&
             EGifPutImageDesc(gif, 0, 0, size.width(), size.height(), false, nullptr) == GIF_OK;
        GifByteType* pixels = ix.frames[i].data();
        for (int y = 0; ok && y < size.height(); ++y)
            ok = EGifPutLine(gif, pixels + size_t(y) * size_t(size.width()), size.width()) == GIF_OK;
    }
    if (!ok) err = gif->Error;
    int closeErr = 0;
    const bool closed = EGifCloseFile(gif, &closeErr) == GIF_OK;
    if (!ok) return fail(QString::fromUtf8(GifErrorString(err)));
    if (!closed) return fail(QString::fromUtf8(GifErrorString(closeErr)));
    return out;
}

}  // namespace nq::assets
