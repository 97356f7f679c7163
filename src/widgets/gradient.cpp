#include "widgets/gradient.h"

#include <QPaintDevice>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QWidget>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace nq {

namespace {

// Bands narrower than one pixel add nothing; a long diagonal needs no more than this many.
constexpr int kMaxBands = 2048;

// The half length of the line: half the diagonal of a square of the larger side, plus one
// pixel, so that its perpendiculars reach every corner whatever the rotation.
double halfLength(int width, int height) {
    const double m = std::max(width, height);
    return (std::sqrt(m * m + m * m) + 2.0) / 2.0;
}

int channel(double value) {
    return static_cast<int>(std::clamp<long>(std::lround(value), 0L, 255L));
}

}  // namespace

QColor toQColor(WinColor c) {
    return QColor(winRed(c), winGreen(c), winBlue(c));
}

double CGradient::effectiveAngle(float angle) {
    const double value = static_cast<double>(angle) + 180.0;
    // Whole turns are taken off with a floor, so negative angles land in [0, 360) as well.
    return value - std::floor(value / 360.0) * 360.0;
}

GradientLine CGradient::gradientLine(int width, int height, float angle) {
    const QPointF centre(width / 2, height / 2);
    const double half = halfLength(width, height);
    const double theta = effectiveAngle(angle) * std::numbers::pi / 180.0;
    const double c = std::cos(theta);
    const double s = std::sin(theta);
    // Rotation in screen coordinates (y grows downwards): offset (dx, dy) goes to
    // (dx cos + dy sin, dy cos - dx sin). Both end points start on the horizontal, dy = 0.
    auto rotate = [&](double dx) { return QPointF(centre.x() + dx * c, centre.y() - dx * s); };
    return {rotate(-half), rotate(half)};
}

std::vector<WinColor> CGradient::colourTable(WinColor start, WinColor end, int steps) {
    steps = std::max(steps, 2);
    const double r0 = winRed(start), g0 = winGreen(start), b0 = winBlue(start);
    auto stepOf = [steps](double from, double to) { return steps == 0 ? 0.0 : (to - from) / steps; };
    const double dr = stepOf(r0, winRed(end));
    const double dg = stepOf(g0, winGreen(end));
    const double db = stepOf(b0, winBlue(end));

    std::vector<WinColor> table(static_cast<size_t>(steps));
    table.front() = start;
    for (int i = 1; i < steps - 1; ++i) {
        table[static_cast<size_t>(i)] =
            winRgb(channel(r0 + i * dr), channel(g0 + i * dg), channel(b0 + i * db));
    }
    table.back() = end;
    return table;
}

void CGradient::render(QPainter& painter, int width, int height) const {
    if (width <= 1 || height <= 1) return;
    const GradientLine line = gradientLine(width, height, angle_);
    const QPointF along = line.end - line.start;
    const double length = std::hypot(along.x(), along.y());
    const double half = halfLength(width, height);
    // One band per pixel of the line, so neighbouring entries differ by at most one shade.
    const int steps = std::clamp(static_cast<int>(std::ceil(length)), 2, kMaxBands);
    const std::vector<WinColor> table = colourTable(color1_, color2_, steps);
    const double band = length / steps;

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(Qt::NoPen);
    painter.setClipRect(0, 0, width, height);
    // In the line's own frame the bands are upright rectangles across the whole perpendicular.
    painter.translate(line.start);
    painter.rotate(std::atan2(along.y(), along.x()) * 180.0 / std::numbers::pi);
    for (int i = 0; i < steps; ++i) {
        // Each band reaches one pixel into the next one, which paints over it: no pixel that a
        // rotated edge leaves out between two bands stays unpainted.
        const double extra = i + 1 < steps ? 1.0 : 0.0;
        painter.fillRect(QRectF(i * band, -half, band + extra, 2.0 * half),
                         toQColor(table[static_cast<size_t>(i)]));
    }
    painter.restore();
}

bool CGradient::Draw(QPaintDevice* surface) const {
    if (surface == nullptr || surface->width() <= 1 || surface->height() <= 1) return false;
    QPainter painter;
    if (!painter.begin(surface)) return false;
    render(painter, surface->width(), surface->height());
    return painter.end();
}

bool CGradient::Draw(QWidget* surface) const {
    if (surface == nullptr || surface->width() <= 1 || surface->height() <= 1) return false;
    // Holding updates stands for the window lock: the widget shows the old picture or the new
    // one, never a half-painted one.
    const bool updates = surface->updatesEnabled();
    surface->setUpdatesEnabled(false);
    const qreal ratio = surface->devicePixelRatioF();
    QPixmap picture(QSize(qRound(surface->width() * ratio), qRound(surface->height() * ratio)));
    picture.setDevicePixelRatio(ratio);
    bool painted = false;
    {
        QPainter painter;
        if (painter.begin(&picture)) {
            render(painter, surface->width(), surface->height());
            painted = painter.end();
        }
    }
    if (painted) {
        QPalette palette = surface->palette();
        palette.setBrush(QPalette::Window, QBrush(picture));
        surface->setPalette(palette);
        surface->setAutoFillBackground(true);
    }
    surface->setUpdatesEnabled(updates);
    surface->update();
    return painted;
}

}  // namespace nq
