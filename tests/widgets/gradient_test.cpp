#include <gtest/gtest.h>

#include <QImage>
#include <QWidget>

#include <cmath>
#include <cstdlib>

#include "widgets/gradient.h"

namespace nq {
namespace {

TEST(GradientColourTable, StepsPerChannelWithExactEndsAndAtLeastTwoEntries) {
    // Red rises by 63.75 per entry, green falls by 25, blue by 63.75; halves round away from 0.
    EXPECT_EQ(CGradient::colourTable(winRgb(0, 100, 255), winRgb(255, 0, 0), 4),
              (std::vector<WinColor>{winRgb(0, 100, 255), winRgb(64, 75, 191), winRgb(128, 50, 128),
                                     winRgb(255, 0, 0)}));
    // The step divides by the number of entries, so the last entry jumps to the end colour.
    EXPECT_EQ(CGradient::colourTable(0, winRgb(30, 0, 0), 3),
              (std::vector<WinColor>{0, winRgb(10, 0, 0), winRgb(30, 0, 0)}));
    for (int steps : {-5, 0, 1})
        EXPECT_EQ(CGradient::colourTable(1, 2, steps), (std::vector<WinColor>{1, 2})) << steps;
}

TEST(GradientLineGeometry, TheLineTurnsHalfATurnPastTheAngleAboutTheIntegerCentre) {
    EXPECT_DOUBLE_EQ(CGradient::effectiveAngle(720.0F), 180.0);
    EXPECT_DOUBLE_EQ(CGradient::effectiveAngle(-200.0F), 340.0);
    // Half the diagonal of the larger side's square, plus a pixel.
    const double half = (std::sqrt(2.0) * 100.0 + 2.0) / 2.0;
    const double half101 = (std::sqrt(2.0) * 101.0 + 2.0) / 2.0;
    struct Case {
        int width, height;
        float angle;
        QPointF start, end;
    };
    const Case cases[] = {
        {100, 50, 90.0F, {50, 25 - half}, {50, 25 + half}},        // first colour at the top
        {100, 50, 0.0F, {50 + half, 25}, {50 - half, 25}},         // first colour on the right
        {101, 51, 90.0F, {50, 25 - half101}, {50, 25 + half101}},  // odd sizes halve down
    };
    for (const Case& c : cases) {
        const GradientLine line = CGradient::gradientLine(c.width, c.height, c.angle);
        EXPECT_NEAR(QLineF(line.start, c.start).length(), 0.0, 1e-9) << c.width << " " << c.angle;
        EXPECT_NEAR(QLineF(line.end, c.end).length(), 0.0, 1e-9) << c.width << " " << c.angle;
    }
}

QImage blankImage(int width, int height) {
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    return image;
}

TEST(GradientDraw, EveryPixelIsCoveredAndTakesTheColourOfItsPlaceOnTheLine) {
    CGradient gradient;
    gradient.setColor1(winRgb(0, 40, 255));
    gradient.setColor2(winRgb(255, 240, 0));
    for (float angle : {0.0F, 17.5F, 33.0F, 90.0F, 137.0F, 270.0F, 315.0F, -33.0F}) {
        gradient.setAngle(angle);
        QImage image = blankImage(150, 37);
        ASSERT_TRUE(gradient.Draw(&image));
        const GradientLine line = CGradient::gradientLine(150, 37, angle);
        const QPointF along = line.end - line.start;
        const double length2 = QPointF::dotProduct(along, along);
        const int steps = static_cast<int>(std::ceil(std::sqrt(length2)));
        const auto table = CGradient::colourTable(gradient.color1(), gradient.color2(), steps);
        int holes = 0, off = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor got = image.pixelColor(x, y);
                holes += got.alpha() != 255;
                const double t = QPointF::dotProduct(QPointF(x + 0.5, y + 0.5) - line.start, along) / length2;
                const QColor want = toQColor(
                    table[static_cast<size_t>(std::clamp(static_cast<int>(t * steps), 0, steps - 1))]);
                off += std::abs(got.red() - want.red()) > 4 || std::abs(got.blue() - want.blue()) > 4;
            }
        }
        EXPECT_EQ(holes, 0) << "angle " << angle;
        EXPECT_EQ(off, 0) << "angle " << angle;
    }
}

TEST(GradientDraw, AWidgetKeepsThePictureAsItsBackgroundAndSurfacesOfOnePixelOrLessAreLeftAlone) {
    CGradient gradient;
    gradient.setColor1(winRgb(255, 0, 0));
    gradient.setColor2(winRgb(0, 0, 255));
    gradient.setAngle(0.0F);
    for (QSize size : {QSize(1, 40), QSize(40, 1)}) {
        QImage image = blankImage(size.width(), size.height());
        EXPECT_FALSE(gradient.Draw(&image));
        EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    }
    QImage smallest = blankImage(2, 2);
    EXPECT_TRUE(gradient.Draw(&smallest));
    EXPECT_EQ(smallest.pixelColor(1, 1).alpha(), 255);
    QWidget flat;
    flat.resize(60, 1);
    EXPECT_FALSE(gradient.Draw(&flat));
    EXPECT_FALSE(flat.autoFillBackground());
    QWidget surface;
    surface.resize(60, 30);
    ASSERT_TRUE(gradient.Draw(&surface));
    const QImage shot = surface.grab().toImage();
    EXPECT_GT(shot.pixelColor(59, 15).red(), shot.pixelColor(0, 15).red());
    // Filled from its palette, so that the picture shows inside a window as well as alone.
    EXPECT_TRUE(surface.autoFillBackground() && surface.updatesEnabled());
}

}  // namespace
}  // namespace nq
