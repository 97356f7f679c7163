#include <gif_lib.h>
#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QtEndian>

#include "asset_maker/gif_writer.h"
#include "asset_maker/wav_writer.h"
#include "support/temp_dir.h"

using namespace nq::assets;

TEST(AssetMaker, CommittedAssetsAreExactlyItsOutput) {
    nq::test::TempDir tmp("nq-assets");
    const QDir out(QString::fromStdString(tmp.path())), assets(NQ_ASSETS_DIR);
    QProcess maker;
    maker.start(NQ_ASSET_MAKER, {out.path()});
    ASSERT_TRUE(maker.waitForFinished(60000) && maker.exitCode() == 0) << maker.readAllStandardError().data();
    QStringList made;
    for (QDirIterator it(out.path(), QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        made << out.relativeFilePath(it.next());
        QFile fresh(it.filePath()), committed(assets.filePath(made.back()));
        ASSERT_TRUE(fresh.open(QIODevice::ReadOnly));
        EXPECT_TRUE(committed.open(QIODevice::ReadOnly) && committed.readAll() == fresh.readAll())
            << qPrintable("assets/" + made.back() +
                          " differs from the tool's output; refresh with: "
                          "build/tools/asset_maker/nq_asset_maker assets (then look at it and commit)");
    }
    // Every picture and sound under assets/ comes from the tool.
    const QStringList media{"*.png", "*.gif", "*.wav", "*.bmp", "*.jpg", "*.ico"};
    for (QDirIterator it(assets.path(), media, QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        const QString rel = assets.relativeFilePath(it.next());
        EXPECT_TRUE(made.contains(rel)) << qPrintable("assets/" + rel + " is not made by the tool");
    }
}

static QImage filled(QSize size, QRgb (*pixel)(int x, int y)) {
    QImage img(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) img.setPixel(x, y, pixel(x, y));
    return img;
}

TEST(GifWriter, DecodesToTheFramesDelaysAndColoursGiven) {
    const QImage twoColours = filled({5, 3}, [](int x, int) { return x % 2 ? 0xffff0000u : 0xff0000ffu; });
    // Alpha 127 is a hole; white at alpha 128 stays white, blended onto white.
    const QImage withHole = filled({5, 3}, [](int x, int y) {
        return x == y ? qRgba(0, 255, 0, 127) : x == 4 ? qRgba(255, 255, 255, 128) : qRgb(0, 255, 0);
    });
    const QImage ramp = filled({20, 15}, [](int x, int y) { return qRgb(x * 12, y * 16, 99); });
    struct Case {
        std::vector<GifFrame> frames;
        int maxColourError;  // per channel; 0 where the palette must hold every colour exactly (not 300)
    } cases[] = {
        {{{twoColours, 0}}, 0}, {{{twoColours, 7}, {withHole, 25}, {twoColours, 300}}, 0}, {{{ramp, 5}}, 12}};
    nq::test::TempDir tmp("nq-gif");
    for (const Case& c : cases) {
        QString error;
        QFile file(QString::fromStdString(tmp.file("x.gif")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(encodeGif(c.frames, &error)) > 0)
            << qPrintable(error);
        file.close();
        int err = 0;
        GifFileType* gif = DGifOpenFileName(tmp.file("x.gif").c_str(), &err);
        ASSERT_TRUE(gif && DGifSlurp(gif) == GIF_OK) << GifErrorString(err);
        ASSERT_EQ(gif->ImageCount, int(c.frames.size()));
        EXPECT_EQ(QSize(gif->SWidth, gif->SHeight), c.frames[0].image.size());
        // More than one frame carries the block that makes viewers loop.
        const ExtensionBlock* first = gif->SavedImages[0].ExtensionBlocks;
        EXPECT_EQ(c.frames.size() > 1, first && first->Function == APPLICATION_EXT_FUNC_CODE &&
                                           !memcmp(first->Bytes, "NETSCAPE2.0", 11));
        for (int i = 0; i < gif->ImageCount; ++i) {
            GraphicsControlBlock gcb;
            ASSERT_EQ(DGifSavedExtensionToGCB(gif, i, &gcb), GIF_OK);
            EXPECT_EQ(gcb.DelayTime, c.frames[size_t(i)].delayCs);
            const QImage& want = c.frames[size_t(i)].image;
            for (int p = 0; p < want.width() * want.height(); ++p) {
                const QRgb w = want.pixel(p % want.width(), p / want.width());
                const int index = gif->SavedImages[i].RasterBits[p];
                const GifColorType g = gif->SColorMap->Colors[index];
                const int off =
                    std::abs(g.Red - qRed(w)) + std::abs(g.Green - qGreen(w)) + std::abs(g.Blue - qBlue(w));
                EXPECT_TRUE(qAlpha(w) < 128 ? index == gcb.TransparentColor
                                            : index != gcb.TransparentColor && off <= 3 * c.maxColourError)
                    << "frame " << i << " pixel " << p;
            }
        }
        DGifCloseFile(gif, &err);
    }
    QString error;
    EXPECT_TRUE(encodeGif({{twoColours, 1}, {ramp, 1}}, &error).isEmpty());
    EXPECT_FALSE(error.isEmpty());
}

TEST(WavWriter, HeaderDescribesTheSamples) {
    const std::vector<int16_t> samples{0, 1, -1, 32767, -32768};
    for (auto [rate, n] : {std::pair{8000, size_t(0)}, {22050, samples.size()}}) {
        const QByteArray wav = encodeWav(std::span(samples).first(n), rate);
        ASSERT_EQ(wav.size(), kWavHeaderBytes + int(2 * n));
        EXPECT_EQ(wav.left(4) + wav.mid(8, 8) + wav.mid(36, 4), "RIFFWAVEfmt data");
        const auto at = [&](int i, int bytes) {
            return bytes == 4 ? qFromLittleEndian<quint32>(wav.constData() + i)
                              : qFromLittleEndian<quint16>(wav.constData() + i);
        };
        // RIFF size, format block size, PCM, mono, rate, bytes per second, per frame, bits, data size.
        EXPECT_EQ((std::vector{at(4, 4), at(16, 4), at(20, 2), at(22, 2), at(24, 4), at(28, 4), at(32, 2),
                               at(34, 2), at(40, 4)}),
                  (std::vector<quint32>{quint32(36 + 2 * n), 16, 1, 1, quint32(rate), quint32(2 * rate), 2,
                                        16, quint32(2 * n)}));
        for (size_t i = 0; i < n; ++i)
            EXPECT_EQ(qFromLittleEndian<qint16>(wav.constData() + 44 + 2 * i), samples[i]);
    }
}
