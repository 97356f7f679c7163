#include "desktop/sound_module.h"

#include <QFileInfo>
#include <QObject>
#include <QSoundEffect>
#include <QString>
#include <QTimer>
#include <QUrl>

namespace {

// Without a sound device an effect may neither finish nor fail; it is dropped after a time
// no notification sound reaches.
constexpr int kSoundLifetimeMs = 30000;

}  // namespace

extern "C" Q_DECL_EXPORT void nqPlaySound(QObject* owner, const QString& file) {
    // A file that is not there cannot play: no effect is made for it, rather than one that
    // loads in the background only to fail there.
    if (!QFileInfo(file).isFile()) return;
    auto* effect = new QSoundEffect(owner);
    // The effect loads in the background; it plays when ready and goes away when done.
    QObject::connect(effect, &QSoundEffect::statusChanged, effect, [effect] {
        switch (effect->status()) {
            case QSoundEffect::Ready:
                if (!effect->isPlaying()) effect->play();
                break;
            case QSoundEffect::Error:
                effect->deleteLater();
                break;
            default:
                break;
        }
    });
    QObject::connect(effect, &QSoundEffect::playingChanged, effect, [effect] {
        if (!effect->isPlaying()) effect->deleteLater();
    });
    QTimer::singleShot(kSoundLifetimeMs, effect, &QObject::deleteLater);
    effect->setSource(QUrl::fromLocalFile(file));
}

// The signature the loader expects; a mismatch fails the build instead of the call.
[[maybe_unused]] static constexpr PlaySoundFunction kChecked = &nqPlaySound;
