#pragma once
// Mod_Autosize: keeps a window's controls at their design distances from the right and bottom
// edges as the window changes size. Each control says in its "Tag" property how it reacts; no
// layout engine takes part, and nothing is ever scaled: a control keeps its size or takes up the
// whole difference. All sizes are in pixels. Only differences between the present and the design
// size of the window count, so the client size serves as well as the outer size while the frame
// stays the same, and unlike the outer size it is known before the window manager decorates.

#include <QPointer>
#include <QRect>
#include <QSize>
#include <QString>
#include <vector>

class QWidget;

namespace nq {

// Which parts of a control follow the window's right and bottom edges.
struct AutosizeRule {
    bool width = false;
    bool height = false;
    bool left = false;
    bool top = false;
};

// The rule of one Tag text, compared exactly (upper case); unknown texts follow nothing.
[[nodiscard]] AutosizeRule autosizeRule(const QString& tag);

// Axis filter of AutosizeControls: both axes, horizontal changes only, vertical changes only.
enum class AutosizeAxis { Both = 0, Horizontal = 1, Vertical = 2 };

// The control's new geometry for a window of `present` size whose design size was `design`,
// from the control's design geometry. Widths and heights may come out negative; the caller
// leaves such a control as it is.
[[nodiscard]] QRect autosizeRect(const QRect& designGeometry, const AutosizeRule& rule, QSize design,
                                 QSize present, AutosizeAxis axis = AutosizeAxis::Both);

// The per-window record table: every descendant widget with a non-empty "Tag" property, its
// design geometry, and the window's design size, all taken at the first call.
struct AutosizeRecords {
    struct Record {
        QRect design;
        QString tag;
    };
    std::vector<Record> records;
    std::vector<QPointer<QWidget>> controls;
    QSize design;
};

// Re-applies the design distances to every tagged control of `window`. A minimised window is
// left alone. With no records yet, or `rebuild`, the records are taken first and the window's
// present size becomes the design size.
void AutosizeControls(AutosizeRecords& table, QWidget* window, bool rebuild = false,
                      AutosizeAxis axis = AutosizeAxis::Both);

// Records the tagged controls of `part` (itself included), a panel made after the table was
// taken, at their present geometry, which must be their place at the window's design size.
// The next AutosizeControls call moves them to the window's present size.
void AutosizeAppend(AutosizeRecords& table, QWidget* part);

// Lets every Qt layout under `root` (root's own included) place its widgets once at the size
// they have now, then removes the layouts: the geometry they leave is the design geometry,
// and afterwards only the Tags move anything. Explicitly hidden widgets are not placed.
void freezeLayouts(QWidget* root);

}  // namespace nq
