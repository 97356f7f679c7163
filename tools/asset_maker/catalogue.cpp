#include "asset_maker/catalogue.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

#include "asset_maker/banners.h"
#include "asset_maker/face_set.h"
#include "asset_maker/gif_writer.h"
#include "asset_maker/heads.h"
#include "asset_maker/pictures.h"
#include "asset_maker/sounds.h"
#include "asset_maker/wav_writer.h"

namespace nq::assets {

namespace {

QByteArray wav(const std::vector<int16_t>& samples) {
    return encodeWav(samples, kSoundRateHz);
}

}  // namespace

QByteArray png(const QImage& picture) {
    QImage img = picture.convertToFormat(QImage::Format_ARGB32);
    // 96 dpi; left alone, QImage takes the resolution of whatever screen Qt found.
    img.setDotsPerMeterX(3780);
    img.setDotsPerMeterY(3780);
    QByteArray out;
    QBuffer buf(&out);
    buf.open(QIODevice::WriteOnly);
    img.save(&buf, "PNG");
    return out;
}

QByteArray jpeg(const QImage& picture) {
    QImage img = picture.convertToFormat(QImage::Format_RGB32);
    img.setDotsPerMeterX(3780);
    img.setDotsPerMeterY(3780);
    QByteArray out;
    QBuffer buf(&out);
    buf.open(QIODevice::WriteOnly);
    img.save(&buf, "JPG", kJpegQuality);
    return out;
}

const std::vector<Asset>& catalogue() {
    static const std::vector<Asset> kAll = [] {
        std::vector<Asset> all = {
            {"image/nqchat16.png", [] { return png(chatIcon(16)); }},
            {"image/nqchat32.png", [] { return png(chatIcon(32)); }},
            {"image/offline16.png", [] { return png(greyed(chatIcon(16))); }},
            {"image/offline32.png", [] { return png(greyed(chatIcon(32))); }},
            {"sound/online.wav", [] { return wav(onlineChime()); }},
            {"sound/SysMsg.wav", [] { return wav(systemMessageTone()); }},
            {"sound/message.wav", [] { return wav(messageTone()); }},
            {"sound/GroupShift.wav", [] { return wav(groupShiftSound()); }},
            {"image/heads.png", [] { return png(headStrip(32)); }},
            {"image/heads16.png", [] { return png(headStrip(16)); }},
            {"image/banner.png", [] { return png(contactBanner()); }},
            {"image/partner.png", [] { return png(partnerBanner()); }},
        };
        // The chat window's large heads are named by head index - 1.
        for (int i = 1; i <= kPeople; ++i)
            all.push_back({"image/" + std::to_string(i - 1) + ".jpg",
                           [i] { return jpeg(largeHead(i, kLargeHeadPx)); }});
        // The chat faces are numbered from 1 in the order of their table, as keywords.kwd names them.
        const std::vector<FaceDef>& faces = faceSet();
        for (size_t i = 0; i < faces.size(); ++i)
            all.push_back({"face/" + std::to_string(i + 1) + ".gif",
                           [&face = faces[i]] { return encodeGif(faceFrames(face), nullptr); }});
        all.push_back({"keywords.kwd", keywordFile});
        // The menu entry's icon in the hicolor theme, which the package installs under
        // /usr/share/icons; desktops pick the size nearest their need.
        for (int px : {16, 32, 48, 64, 128, 256}) {
            const std::string side = std::to_string(px);
            all.push_back({"icons/hicolor/" + side + "x" + side + "/apps/nqchat.png",
                           [px] { return png(chatIcon(px)); }});
        }
        return all;
    }();
    return kAll;
}

bool writeAll(const QString& outDir, QString* error) {
    for (const Asset& a : catalogue()) {
        const QString path = QDir(outDir).filePath(QString::fromStdString(a.path));
        const QByteArray bytes = a.make();
        QSaveFile f(path);
        if (bytes.isEmpty() || !QDir().mkpath(QFileInfo(path).path()) || !f.open(QIODevice::WriteOnly) ||
            f.write(bytes) != bytes.size() || !f.commit()) {
            if (error)
                *error =
                    bytes.isEmpty() ? path + QStringLiteral(": nothing made") : path + ": " + f.errorString();
            return false;
        }
    }
    return true;
}

}  // namespace nq::assets
