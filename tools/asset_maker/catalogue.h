#pragma once
// Every file the asset maker writes, as a table: a new picture or sound is one more row.

#include <QByteArray>
#include <QImage>
#include <QString>

#include <functional>
#include <string>
#include <vector>

namespace nq::assets {

struct Asset {
    std::string path;  // under the output folder, as it sits under assets/
    std::function<QByteArray()> make;
};

const std::vector<Asset>& catalogue();

// PNG bytes that depend only on the pixels (no resolution taken from the screen, no time).
QByteArray png(const QImage& picture);

// JPEG bytes at a fixed quality and resolution; JPEG has no transparency, so the picture must
// be opaque.
inline constexpr int kJpegQuality = 90;
QByteArray jpeg(const QImage& picture);

// Side of the chat window's head pictures, in pixels.
inline constexpr int kLargeHeadPx = 96;

// Writes every asset under outDir, creating folders. Returns false and sets *error on failure.
[[nodiscard]] bool writeAll(const QString& outDir, QString* error);

}  // namespace nq::assets
