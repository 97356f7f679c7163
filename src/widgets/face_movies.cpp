#include "widgets/face_movies.h"

#include <QCoreApplication>
#include <QMovie>
#include <QPainter>
#include <QPointer>

namespace nq {

FaceMovies::FaceMovies(QObject* parent) : QObject(parent) {}

FaceMovies& FaceMovies::instance() {
    static QPointer<FaceMovies> one;
    if (!one) one = new FaceMovies(QCoreApplication::instance());
    return *one;
}

QMovie* FaceMovies::load(int face, const QString& path) {
    if (QMovie* known = movies_.value(face)) return known;
    auto* movie = new QMovie(path, QByteArray(), this);
    // A face is a handful of 28-pixel frames; keeping them decoded costs a few kilobytes and
    // spares decoding the GIF again at every loop.
    movie->setCacheMode(QMovie::CacheAll);
    if (!movie->isValid() || !movie->jumpToFrame(0) || movie->currentPixmap().isNull()) {
        delete movie;
        return nullptr;
    }
    movies_.insert(face, movie);
    sizes_.insert(face, movie->currentPixmap().size());
    connect(movie, &QMovie::frameChanged, this, [this, face] { emit frameChanged(face); });
    runOrPause(face);
    return movie;
}

void FaceMovies::watch(const QObject* viewer, const QSet<int>& faces) {
    const QSet<int> old = watched_.value(viewer);
    if (old == faces) return;
    if (faces.isEmpty())
        watched_.remove(viewer);
    else
        watched_.insert(viewer, faces);
    for (int face : old) {
        if (faces.contains(face)) continue;
        if (--watchers_[face] <= 0) watchers_.remove(face);
        runOrPause(face);
    }
    for (int face : faces) {
        if (old.contains(face)) continue;
        ++watchers_[face];
        runOrPause(face);
    }
}

void FaceMovies::runOrPause(int face) {
    QMovie* movie = movies_.value(face);
    if (!movie) return;
    // A still picture (one frame) never needs its timer; 0 means the reader cannot tell.
    const bool wanted = watchers_.value(face) > 0 && movie->frameCount() != 1;
    if (wanted) {
        if (movie->state() == QMovie::NotRunning)
            movie->start();
        else if (movie->state() == QMovie::Paused)
            movie->setPaused(false);
    } else if (movie->state() == QMovie::Running) {
        movie->setPaused(true);
    }
}

QSizeF FaceMovies::intrinsicSize(QTextDocument*, int, const QTextFormat& format) {
    return sizes_.value(format.intProperty(kFaceNumberProperty));
}

void FaceMovies::drawObject(QPainter* painter, const QRectF& rect, QTextDocument*, int,
                            const QTextFormat& format) {
    if (QMovie* movie = movies_.value(format.intProperty(kFaceNumberProperty)))
        painter->drawPixmap(rect.topLeft(), movie->currentPixmap());
}

}  // namespace nq
