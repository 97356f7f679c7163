#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QMovie>
#include <QPaintEvent>
#include <QTest>

#include <set>

#include "asset_maker/gif_writer.h"
#include "support/temp_dir.h"
#include "widgets/face_movies.h"
#include "widgets/rich_text.h"

namespace nq {
namespace {

const QString kPic(QChar::ObjectReplacementCharacter);

// A 28-pixel face file: a still PNG, or a GIF that blinks between two colours.
QString faceFile(const test::TempDir& dir, int face, bool blinks) {
    QImage yellow(28, 28, QImage::Format_ARGB32);
    yellow.fill(Qt::yellow);
    const QString path = QString::fromStdString(dir.file(std::to_string(face) + (blinks ? ".gif" : ".png")));
    if (!blinks) return yellow.save(path) ? path : QString();
    QImage red = yellow;
    red.fill(Qt::red);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(assets::encodeGif({{yellow, 5}, {red, 5}}, nullptr));
    return path;
}

TEST(RichText, SelColorKeepsTheWireByteOrder) {
    struct Case {
        quint32 value;
        QColor shown;
    };
    const Case cases[] = {{0xFF0000, QColor(0, 0, 255)},
                          {0x0000FF, QColor(255, 0, 0)},
                          {0x408000, QColor(0, 0x80, 0x40)},
                          {0x123456, QColor(0x56, 0x34, 0x12)}};
    for (const Case& c : cases) {
        RichText view;
        view.setSelText("ab");
        view.setSelStart(0);
        view.setSelLength(1);
        view.setSelColor(c.value);
        EXPECT_EQ(view.SelColor(), c.value);
        QTextCursor first(view.document());
        first.setPosition(1);
        EXPECT_EQ(first.charFormat().foreground().color(), c.shown);
        view.setSelStart(2);
        EXPECT_EQ(view.SelColor(), 0u) << "the second letter keeps the default black";
    }
}

TEST(RichText, TextWritesPicturesAsOneCharacterAndParagraphEndsAsTwo) {
    test::TempDir dir;
    RichText box;
    box.setSelText("甲\r\n");
    ASSERT_TRUE(box.insertFace(7, faceFile(dir, 7, false)));
    box.setSelText("b\r\n\nc");
    EXPECT_EQ(box.Text(), "甲\r\n" + kPic + "b\r\n\r\nc");
    EXPECT_EQ(box.textLength(), box.Text().size());
    EXPECT_EQ(box.faceNumbers(), QList<int>{7});
    // Positions are those of Text(); one between "\r" and "\n" stands for the paragraph's end.
    struct Case {
        int start, length;
        QString selected;
    };
    const Case cases[] = {{0, 1, "甲"}, {1, 2, "\r\n"}, {3, 2, kPic + "b"}, {2, 2, "\r\n"}, {7, 3, "\r\nc"}};
    for (const Case& c : cases) {
        box.setSelStart(c.start);
        box.setSelLength(c.length);
        EXPECT_EQ(box.SelText(), c.selected) << c.start << "+" << c.length;
        EXPECT_EQ(box.SelStart(), c.start == 2 ? 1 : c.start);
    }
    box.setSelStart(4);
    QTest::keyClick(&box, Qt::Key_Backspace);
    EXPECT_EQ(box.Text(), "甲\r\nb\r\n\r\nc");
    EXPECT_TRUE(box.faceNumbers().isEmpty());
}

TEST(RichText, MovingTheSendBoxKeepsItsFacesInOrderWithTheirNumbers) {
    test::TempDir dir;
    RichText box, pane;
    box.setSelText("a");
    box.insertFace(3, faceFile(dir, 3, false));
    box.setSelText("b\r\n");
    box.insertFace(3, faceFile(dir, 3, false));
    box.setSelStart(2);
    box.insertFace(5, faceFile(dir, 5, true));  // between the first face and b
    pane.setSelText("amy (12:00)\r\n");
    pane.insertFragment(box.contentFragment());
    box.clear();
    EXPECT_EQ(pane.Text(), "amy (12:00)\r\na" + kPic + kPic + "b\r\n" + kPic);
    EXPECT_EQ(pane.faceNumbers(), (QList<int>{3, 5, 3}));
    EXPECT_EQ(box.textLength(), 0);
}

TEST(RichText, CharFromPosGivesTheCharacterUnderThePointer) {
    RichText pane;
    pane.resize(400, 200);
    pane.setSelText("first line\r\nsee www.example.com now");
    pane.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&pane));
    const int link = int(pane.Text().indexOf("www"));
    for (int k : {link, link + 4, link + 14}) {
        QTextCursor c(pane.document());
        c.setPosition(k - 1);  // one paragraph end before: one character less in the document
        const QRect left = pane.cursorRect(c);
        c.setPosition(k);
        const QRect right = pane.cursorRect(c);
        EXPECT_EQ(pane.charFromPos({left.x() + 1, left.center().y()}), k);
        EXPECT_EQ(pane.charFromPos({right.x() - 1, left.center().y()}), k) << "its right half too";
    }
}

TEST(RichText, LockedRefusesTypingAndPastingButSelectsAndTakesWrites) {
    RichText pane;
    pane.setSelText("abc");
    pane.setLocked(true);
    pane.setSelStart(0);
    QTest::keyClicks(&pane, "xy");
    QTest::keyClick(&pane, Qt::Key_Delete);
    QApplication::clipboard()->setText("zz");
    pane.paste();
    EXPECT_EQ(pane.Text(), "abc");
    QTest::keyClick(&pane, Qt::Key_End, Qt::ShiftModifier);
    EXPECT_EQ(pane.SelLength(), 3);
    pane.moveToEnd();
    pane.setSelText("!");
    EXPECT_EQ(pane.Text(), "abc!");
}

struct PaintSpy : QObject {
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint) painted += static_cast<QPaintEvent*>(event)->region();
        return false;
    }
    QRegion painted;
};

TEST(FaceMovies, OneMoviePerFaceRunsOnlyWhileAViewShowsItAndRepaintsOnlyItsPlaces) {
    test::TempDir dir;
    const QString blink = faceFile(dir, 41, true), still = faceFile(dir, 42, false);
    FaceMovies& movies = FaceMovies::instance();
    const int before = movies.movieCount();
    RichText a, b;
    std::set<QMovie*> used;
    for (RichText* view : {&a, &b}) {
        view->resize(300, 200);
        view->setSelText("x");
        for (int face : {41, 41, 42}) {
            view->insertFace(face, face == 41 ? blink : still);
            used.insert(movies.movie(face));
        }
    }
    EXPECT_EQ(used.size(), 2u);
    EXPECT_EQ(movies.movieCount(), before + 2);
    EXPECT_EQ(movies.movie(41)->state(), QMovie::NotRunning) << "no view on screen yet";
    a.show();
    b.show();
    ASSERT_TRUE(QTest::qWaitFor([&] { return movies.watchers(41) == 2; }));
    EXPECT_EQ(movies.movie(41)->state(), QMovie::Running);
    EXPECT_NE(movies.movie(42)->state(), QMovie::Running) << "a still face needs no timer";

    PaintSpy spy;
    a.viewport()->installEventFilter(&spy);
    QTest::qWait(20);
    spy.painted = {};
    ASSERT_TRUE(QTest::qWaitFor([&] { return !spy.painted.isEmpty(); }));
    EXPECT_LE(spy.painted.boundingRect().width(), 2 * 28 + 2) << "the two blinking faces only";

    a.hide();
    b.clear();
    ASSERT_TRUE(QTest::qWaitFor([&] { return movies.watchers(41) == 0; }));
    EXPECT_EQ(movies.movie(41)->state(), QMovie::Paused);
}

}  // namespace
}  // namespace nq
