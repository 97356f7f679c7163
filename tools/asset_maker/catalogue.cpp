#include "asset_maker/catalogue.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

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

const std::vector<Asset>& catalogue() {
    static const std::vector<Asset> kAll = {
        {"image/nqchat16.png", [] { return png(chatIcon(16)); }},
        {"image/nqchat32.png", [] { return png(chatIcon(32)); }},
        {"image/offline16.png", [] { return png(greyed(chatIcon(16))); }},
        {"image/offline32.png", [] { return png(greyed(chatIcon(32))); }},
        {"sound/online.wav", [] { return wav(onlineChime()); }},
        {"sound/SysMsg.wav", [] { return wav(systemMessageTone()); }},
    };
    return kAll;
}

bool writeAll(const QString& outDir, QString* error) {
    for (const Asset& a : catalogue()) {
        const QString path = QDir(outDir).filePath(QString::fromUtf8(a.path));
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
