#include <gif_lib.h>
#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFile>
#include <QPainter>
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
        EXPECT_TRUE(fresh.open(QIODevice::ReadOnly) && committed.open(QIODevice::ReadOnly) &&
                    committed.readAll() == fresh.readAll())
            << qPrintable("assets/" + made.back() +
                          " is not the tool's output; refresh: "
                          "build/tools/asset_maker/nq_asset_maker assets, look, commit");
    }
    // Every picture, sound and keyword file under assets/ comes from the tool.
    const QStringList media{"*.png", "*.gif", "*.wav", "*.bmp", "*.jpg", "*.ico", "*.kwd"};
    for (QDirIterator it(assets.path(), media, QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        const QString rel = assets.relativeFilePath(it.next());
        EXPECT_TRUE(made.contains(rel)) << qPrintable("assets/" + rel + " is not made by the tool");
    }
    // A folder that cannot be made (under a plain file) fails the run, so a refresh never
    // reports success over a half-written tree.
    maker.start(NQ_ASSET_MAKER, {out.filePath(made.value(0)) + "/below"});
    ASSERT_TRUE(maker.waitForFinished(60000));
    EXPECT_EQ(maker.exitCode(), 1) << maker.readAllStandardError().data();
}

static QImage filled(QSize size, QRgb (*pixel)(int x, int y)) {
    QImage img(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) img.setPixel(x, y, pixel(x, y));
    return img;
}

TEST(GifWriter, DecodesToTheFramesDelaysAndColoursGiven) {
    const QImage stripes = filled({5, 3}, [](int x, int) { return x % 2 ? 0xffff0000u : 0xff0000ffu; });
    // Alpha 127 is a hole; black at alpha 128 is shown blended onto white.
    const QImage withHole = filled({5, 3}, [](int x, int y) {
        return x == y ? qRgba(0, 255, 0, 127) : x == 4 ? qRgba(0, 0, 0, 128) : qRgb(0, 255, 0);
    });
    const QImage ramp = filled({20, 15}, [](int x, int y) { return qRgb(x * 12, y * 16, 99); });
    struct Case {
        std::vector<GifFrame> frames;
        int maxColourError;  // per channel; 1 (rounding) where the palette holds every colour (not 300)
    } cases[] = {{{{stripes, 0}}, 1}, {{{stripes, 7}, {withHole, 300}}, 1}, {{{ramp, 5}}, 12}};
    nq::test::TempDir tmp("nq-gif");
    for (const Case& c : cases) {
        QString error;
        const QByteArray bytes = encodeGif(c.frames, &error);
        EXPECT_TRUE(bytes.startsWith("GIF89a")) << qPrintable(error);  // 87a readers may skip delays
        QFile file(QString::fromStdString(tmp.file("x.gif")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) > 0 && file.flush());
        int err = 0;
        GifFileType* gif = DGifOpenFileName(tmp.file("x.gif").c_str(), &err);
        ASSERT_TRUE(gif && DGifSlurp(gif) == GIF_OK) << GifErrorString(err);
        ASSERT_EQ(gif->ImageCount, int(c.frames.size()));
        EXPECT_EQ(QSize(gif->SWidth, gif->SHeight), c.frames[0].image.size());
        const ExtensionBlock* first = gif->SavedImages[0].ExtensionBlocks;  // the loop block, if animated
        EXPECT_EQ(c.frames.size() > 1, first && first->Function == APPLICATION_EXT_FUNC_CODE &&
                                           !memcmp(first->Bytes, "NETSCAPE2.0", 11));
        for (int i = 0; i < gif->ImageCount; ++i) {
            GraphicsControlBlock gcb;
            ASSERT_EQ(DGifSavedExtensionToGCB(gif, i, &gcb), GIF_OK);
            // Each frame replaces the previous whole, or its holes would show the last frame.
            EXPECT_EQ(std::pair(gcb.DelayTime, gcb.DisposalMode),
                      std::pair(c.frames[size_t(i)].delayCs, DISPOSE_BACKGROUND));
            const QImage& want = c.frames[size_t(i)].image;
            QImage shown(want.size(), QImage::Format_RGB32);
            shown.fill(Qt::white);
            QPainter(&shown).drawImage(0, 0, want);
            for (int p = 0; p < want.width() * want.height(); ++p) {
                const QRgb w = shown.pixel(p % want.width(), p / want.width());
                const int index = gif->SavedImages[i].RasterBits[p];
                const GifColorType g = gif->SColorMap->Colors[index];
                const int off =
                    std::abs(g.Red - qRed(w)) + std::abs(g.Green - qGreen(w)) + std::abs(g.Blue - qBlue(w));
                EXPECT_TRUE(qAlpha(want.pixel(p % want.width(), p / want.width())) < 128
                                ? index == gcb.TransparentColor
                                : index != gcb.TransparentColor && off <= 3 * c.maxColourError)
                    << "frame " << i << " pixel " << p;
            }
        }
        DGifCloseFile(gif, &err);
    }
    QString why;
    EXPECT_TRUE(encodeGif({{stripes, 1}, {stripes.copy(0, 0, 5, 2), 1}}, &why).isEmpty() && !why.isEmpty());
}

TEST(WavWriter, HeaderDescribesTheSamples) {
    const std::vector<int16_t> samples{0, 1, -1, 32767, -32768};
    for (auto [rate, n] : {std::pair{8000, size_t(0)}, {22050, samples.size()}}) {
        const QByteArray wav = encodeWav(std::span(samples).first(n), rate);
        ASSERT_EQ(wav.size(), kWavHeaderBytes + int(2 * n));
        EXPECT_EQ(wav.left(4) + wav.mid(8, 8) + wav.mid(36, 4), "RIFFWAVEfmt data");
        const auto at = [&](int i) { return qFromLittleEndian<quint32>(wav.constData() + i); };
        // RIFF size, format block size, (PCM, mono), rate, bytes per second, (bytes per frame, bits), data
        // size.
        EXPECT_EQ((std::vector{at(4), at(16), at(20), at(24), at(28), at(32), at(40)}),
                  (std::vector<quint32>{quint32(36 + 2 * n), 16, 1 | 1 << 16, quint32(rate),
                                        quint32(2 * rate), 2 | 16 << 16, quint32(2 * n)}));
        for (size_t i = 0; i < n; ++i)
            EXPECT_EQ(qFromLittleEndian<qint16>(wav.constData() + 44 + 2 * i), samples[i]);
    }
}
