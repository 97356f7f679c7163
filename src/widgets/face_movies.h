#pragma once
// FaceMovies: the one place that holds the face pictures of every rich text view in the process.
//
// A face stands in a document as one U+FFFC character whose format carries kFaceObjectType and
// the face number; this object draws it. Each face number has one QMovie, however many times and
// in however many views it shows, so a history pane with hundreds of faces decodes each GIF once.
//
// Views say which face numbers they show on screen right now (watch). A movie runs only while
// some view watches its face and the picture has more than one frame; the rest are paused, so a
// client whose panes show no moving face has no movie timer at all. Each new frame is announced
// by frameChanged(face), and a view repaints the places where that face stands.

#include <QHash>
#include <QObject>
#include <QSet>
#include <QSize>
#include <QTextFormat>
#include <QTextObjectInterface>

class QMovie;

namespace nq {

// The object type of a face character and the property holding its face number.
inline constexpr int kFaceObjectType = QTextFormat::UserObject + 1;
inline constexpr int kFaceNumberProperty = QTextFormat::UserProperty + 1;

class FaceMovies : public QObject, public QTextObjectInterface {
    Q_OBJECT
    Q_INTERFACES(QTextObjectInterface)

  public:
    // The process's registry, made at first use as a child of the application object.
    static FaceMovies& instance();

    // The movie of face `face`, read from `path` at the first call for that number; later calls
    // return the same movie whatever path they give. Null when the file holds no readable picture
    // (nothing is kept then, so a later call may name a good file).
    QMovie* load(int face, const QString& path);
    // Null for a face never loaded.
    [[nodiscard]] QMovie* movie(int face) const { return movies_.value(face); }
    [[nodiscard]] int movieCount() const { return int(movies_.size()); }

    // Replaces the set of faces that `viewer` shows; an empty set forgets the viewer.
    void watch(const QObject* viewer, const QSet<int>& faces);
    // How many viewers show face `face`.
    [[nodiscard]] int watchers(int face) const { return watchers_.value(face); }

    // QTextObjectInterface: the picture's size, and the current frame painted into the line.
    QSizeF intrinsicSize(QTextDocument* doc, int posInDocument, const QTextFormat& format) override;
    void drawObject(QPainter* painter, const QRectF& rect, QTextDocument* doc, int posInDocument,
                    const QTextFormat& format) override;

  signals:
    void frameChanged(int face);

  private:
    explicit FaceMovies(QObject* parent);
    void runOrPause(int face);

    QHash<int, QMovie*> movies_;
    QHash<int, QSize> sizes_;  // first frame's size in pixels, fixed at load
    QHash<const QObject*, QSet<int>> watched_;
    QHash<int, int> watchers_;
};

}  // namespace nq
