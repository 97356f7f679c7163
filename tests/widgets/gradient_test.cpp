#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QWidget>

#include <cmath>
#include <cstdlib>

#include "widgets/gradient.h"

namespace nq {
namespace {

TEST(GradientColour, RedIsTheLowByteAndConvertsBothWays) {
    EXPECT_EQ(toQColor(0xFF0000), QColor(0, 0, 255));
    EXPECT_EQ(toQColor(0x0000FF), QColor(255, 0, 0));
    EXPECT_EQ(winRgb(167, 197, 237), 0xEDC5A7u);
    EXPECT_EQ(fromQColor(QColor(1, 2, 3)), winRgb(1, 2, 3));
    EXPECT_EQ(winGreen(winRgb(9, 200, 7)), 200);
}

TEST(GradientProperties, DefaultsAndTheSharedInstanceKeepWhatIsSet) {
    const CGradient fresh;
    EXPECT_EQ(fresh.color1(), winRgb(208, 255, 255));
    EXPECT_EQ(fresh.color2(), winRgb(0, 0, 64));
    EXPECT_FLOAT_EQ(fresh.angle(), 315.0F);

    CGradient::instance().setAngle(12.5F);
    EXPECT_FLOAT_EQ(CGradient::instance().angle(), 12.5F);
    CGradient::instance().setAngle(CGradient::kDefaultAngle);
}

TEST(GradientColourTable, StepsBelowTwoAreRaisedToTwo) {
    for (int steps : {-5, 0, 1, 2}) {
        const auto table = CGradient::colourTable(winRgb(1, 2, 3), winRgb(200, 100, 50), steps);
        ASSERT_EQ(table.size(), 2u) << steps;
        EXPECT_EQ(table[0], winRgb(1, 2, 3));
        EXPECT_EQ(table[1], winRgb(200, 100, 50));
    }
}

TEST(GradientColourTable, EqualColoursGiveOneColourThroughout) {
    const WinColor c = winRgb(167, 197, 237);
    for (WinColor entry : CGradient::colourTable(c, c, 9)) EXPECT_EQ(entry, c);
}

TEST(GradientColourTable, InnerEntriesStepPerChannelAndTheEndsAreExact) {
    // Red rises by 63.75 per entry, green falls by 25, blue falls by 63.75; halves round away
    // from zero (127.5 -> 128).
    const auto table = CGradient::colourTable(winRgb(0, 100, 255), winRgb(255, 0, 0), 4);
    ASSERT_EQ(table.size(), 4u);
    EXPECT_EQ(table[0], winRgb(0, 100, 255));
    EXPECT_EQ(table[1], winRgb(64, 75, 191));
    EXPECT_EQ(table[2], winRgb(128, 50, 128));
    EXPECT_EQ(table[3], winRgb(255, 0, 0));

    // The step divides by the number of entries, so the last entry jumps to the end colour.
    const auto three = CGradient::colourTable(winRgb(0, 0, 0), winRgb(30, 0, 0), 3);
    EXPECT_EQ(three[1], winRgb(10, 0, 0));
    EXPECT_EQ(three[2], winRgb(30, 0, 0));
}

TEST(GradientLineGeometry, EffectiveAngleAddsHalfATurnAndReducesByWholeTurns) {
    EXPECT_DOUBLE_EQ(CGradient::effectiveAngle(315.0F), 135.0);
    EXPECT_DOUBLE_EQ(CGradient::effectiveAngle(90.0F), 270.0);
    EXPECT_DOUBLE_EQ(CGradient::effectiveAngle(180.0F), 0.0);
    EXPECT_DOUBLE_EQ(CGradient::effectiveAngle(720.0F), 180.0);
    EXPECT_DOUBLE_EQ(CGradient::effectiveAngle(-200.0F), 340.0);
}

TEST(GradientLineGeometry, EndPointsAreRotatedAboutTheIntegerCentre) {
    // M = 100: half length (sqrt(2) * 100 + 2) / 2.
    const double half = (std::sqrt(2.0) * 100.0 + 2.0) / 2.0;

    const GradientLine down = CGradient::gradientLine(100, 50, 90.0F);
    EXPECT_NEAR(down.start.x(), 50.0, 1e-9);
    EXPECT_NEAR(down.start.y(), 25.0 - half, 1e-9);
    EXPECT_NEAR(down.end.x(), 50.0, 1e-9);
    EXPECT_NEAR(down.end.y(), 25.0 + half, 1e-9);

    const GradientLine leftwards = CGradient::gradientLine(100, 50, 0.0F);
    EXPECT_NEAR(leftwards.start.x(), 50.0 + half, 1e-9);
    EXPECT_NEAR(leftwards.end.x(), 50.0 - half, 1e-9);
    EXPECT_NEAR(leftwards.start.y(), 25.0, 1e-9);

    // Odd sizes halve down: centre (50, 25) for 101 x 51.
    const GradientLine odd = CGradient::gradientLine(101, 51, 90.0F);
    EXPECT_NEAR(odd.start.x(), 50.0, 1e-9);
    EXPECT_NEAR(odd.start.y() + odd.end.y(), 50.0, 1e-9);

    // The default 315 degrees starts in the lower right and ends in the upper left.
    const GradientLine diagonal = CGradient::gradientLine(80, 80, 315.0F);
    EXPECT_GT(diagonal.start.x(), 40.0);
    EXPECT_GT(diagonal.start.y(), 40.0);
    EXPECT_LT(diagonal.end.x(), 40.0);
    EXPECT_LT(diagonal.end.y(), 40.0);
}

QImage blankImage(int width, int height) {
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    return image;
}

TEST(GradientDraw, SurfacesOfOnePixelOrLessAreLeftAlone) {
    const CGradient gradient;
    for (QSize size : {QSize(1, 40), QSize(40, 1), QSize(1, 1)}) {
        QImage image = blankImage(size.width(), size.height());
        EXPECT_FALSE(gradient.Draw(&image));
        EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    }
    EXPECT_FALSE(gradient.Draw(static_cast<QWidget*>(nullptr)));
    QImage smallest = blankImage(2, 2);
    EXPECT_TRUE(gradient.Draw(&smallest));
    EXPECT_EQ(smallest.pixelColor(1, 1).alpha(), 255);
}

TEST(GradientDraw, EveryPixelIsCoveredAtAnyAngle) {
    CGradient gradient;
    gradient.setColor1(winRgb(10, 20, 30));
    gradient.setColor2(winRgb(240, 230, 220));
    for (float angle : {0.0F, 17.5F, 45.0F, 90.0F, 137.0F, 225.0F, 315.0F, -33.0F}) {
        gradient.setAngle(angle);
        QImage image = blankImage(120, 37);
        ASSERT_TRUE(gradient.Draw(&image));
        int holes = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) holes += image.pixelColor(x, y).alpha() != 255;
        }
        EXPECT_EQ(holes, 0) << "angle " << angle;
    }
}

// The colour that the table puts at a pixel's projection onto the gradient line.
QColor expectedAt(const CGradient& g, int width, int height, QPointF p) {
    const GradientLine line = CGradient::gradientLine(width, height, g.angle());
    const QPointF along = line.end - line.start;
    const double length2 = along.x() * along.x() + along.y() * along.y();
    const QPointF rel = p - line.start;
    const double t = (rel.x() * along.x() + rel.y() * along.y()) / length2;
    const int steps = static_cast<int>(std::ceil(std::sqrt(length2)));
    const auto table = CGradient::colourTable(g.color1(), g.color2(), steps);
    const int index = std::clamp(static_cast<int>(t * steps), 0, steps - 1);
    return toQColor(table[static_cast<size_t>(index)]);
}

bool near(const QColor& a, const QColor& b, int tolerance) {
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

TEST(GradientDraw, PixelsTakeTheTableColourOfTheirPlaceOnTheLine) {
    CGradient gradient;
    gradient.setColor1(winRgb(0, 40, 255));
    gradient.setColor2(winRgb(255, 240, 0));
    for (float angle : {90.0F, 33.0F, 270.0F, 315.0F}) {
        gradient.setAngle(angle);
        QImage image = blankImage(150, 90);
        ASSERT_TRUE(gradient.Draw(&image));
        for (QPoint p : {QPoint(0, 0), QPoint(149, 0), QPoint(75, 45), QPoint(10, 80), QPoint(149, 89)}) {
            const QColor want = expectedAt(gradient, 150, 90, QPointF(p) + QPointF(0.5, 0.5));
            EXPECT_TRUE(near(image.pixelColor(p), want, 4))
                << "angle " << angle << " at " << p.x() << "," << p.y() << ": got "
                << image.pixelColor(p).name().toStdString() << " want " << want.name().toStdString();
        }
    }
}

TEST(GradientDraw, NinetyDegreesRunsFromTheFirstColourAtTheTopDownwardsInLevelRows) {
    CGradient gradient;
    gradient.setColor1(winRgb(167, 197, 237));
    gradient.setColor2(winRgb(239, 244, 252));
    gradient.setAngle(90.0F);
    QImage image = blankImage(180, 116);
    ASSERT_TRUE(gradient.Draw(&image));
    int previousRed = 0;
    for (int y = 0; y < image.height(); ++y) {
        const QColor left = image.pixelColor(0, y);
        EXPECT_EQ(left, image.pixelColor(179, y)) << "row " << y;
        EXPECT_GE(left.red(), previousRed) << "row " << y;
        previousRed = left.red();
    }
    EXPECT_LT(image.pixelColor(90, 0).red(), image.pixelColor(90, 115).red());
    EXPECT_GT(image.pixelColor(90, 0).red(), 167);  // the long line starts above the surface
}

TEST(GradientDraw, AWidgetKeepsThePictureAsItsBackground) {
    CGradient gradient;
    gradient.setColor1(winRgb(255, 0, 0));
    gradient.setColor2(winRgb(0, 0, 255));
    gradient.setAngle(0.0F);  // first colour on the right

    QWidget flat;
    flat.resize(60, 1);
    EXPECT_FALSE(gradient.Draw(&flat));
    EXPECT_FALSE(flat.autoFillBackground());

    QWidget surface;
    surface.resize(60, 30);
    ASSERT_TRUE(gradient.Draw(&surface));
    EXPECT_TRUE(surface.autoFillBackground());
    const QImage shot = surface.grab().toImage();
    EXPECT_GT(shot.pixelColor(59, 15).red(), shot.pixelColor(0, 15).red());
    EXPECT_LT(shot.pixelColor(59, 15).blue(), shot.pixelColor(0, 15).blue());
    EXPECT_TRUE(surface.updatesEnabled());
}

}  // namespace
}  // namespace nq
