#include "desktop/mod_autosize.h"

#include <QLayout>
#include <QVariant>
#include <QWidget>

namespace nq {

AutosizeRule autosizeRule(const QString& tag) {
    struct Entry {
        const char* tag;
        AutosizeRule rule;
    };
    static const Entry kRules[] = {
        {"STRETCHH", {true, false, false, false}},     {"STRETCHV", {false, true, false, false}},
        {"STRETCHALL", {true, true, false, false}},    {"MOVEH", {false, false, true, false}},
        {"MOVEV", {false, false, false, true}},        {"MOVEALL", {false, false, true, true}},
        {"STRETCHVMOVEH", {false, true, true, false}}, {"STRETCHHMOVEV", {true, false, false, true}},
    };
    for (const Entry& e : kRules)
        if (tag == QLatin1String(e.tag)) return e.rule;
    return {};
}

QRect autosizeRect(const QRect& d, const AutosizeRule& rule, QSize design, QSize present, AutosizeAxis axis) {
    const bool horizontal = axis != AutosizeAxis::Vertical;
    const bool vertical = axis != AutosizeAxis::Horizontal;
    const int w = present.width(), h = present.height();
    const int w0 = design.width(), h0 = design.height();
    int left = d.x(), top = d.y(), width = d.width(), height = d.height();
    if (rule.width && horizontal) width = w - (w0 - (d.x() + d.width())) - d.x();
    if (rule.height && vertical) height = h - (h0 - (d.y() + d.height())) - d.y();
    if (rule.left && horizontal) left = w - (w0 - d.x());
    if (rule.top && vertical) top = h - (h0 - d.y());
    return QRect(left, top, width, height);
}

namespace {

void recordTagged(AutosizeRecords& table, QWidget* control) {
    const QString tag = control->property("Tag").toString();
    if (tag.isEmpty()) return;
    table.records.push_back({control->geometry(), tag});
    table.controls.emplace_back(control);
}

void takeRecords(AutosizeRecords& table, QWidget* window) {
    table.records.clear();
    table.controls.clear();
    for (QWidget* child : window->findChildren<QWidget*>()) recordTagged(table, child);
    table.design = window->size();
}

void settle(QWidget* w) {
    if (QLayout* l = w->layout()) {
        l->activate();
        l->setGeometry(w->rect());
    }
    for (QWidget* child : w->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
        if (!child->isWindow()) settle(child);
}

}  // namespace

void AutosizeAppend(AutosizeRecords& table, QWidget* part) {
    recordTagged(table, part);
    for (QWidget* child : part->findChildren<QWidget*>()) recordTagged(table, child);
}

void freezeLayouts(QWidget* root) {
    settle(root);
    delete root->layout();
    for (QWidget* w : root->findChildren<QWidget*>())
        if (!w->isWindow()) delete w->layout();
}

void AutosizeControls(AutosizeRecords& table, QWidget* window, bool rebuild, AutosizeAxis axis) {
    if (!window || window->isMinimized()) return;
    if (table.records.empty() || rebuild) takeRecords(table, window);
    const QSize present = window->size();
    for (std::size_t i = 0; i < table.records.size(); ++i) {
        QWidget* control = table.controls[i];
        if (!control) continue;
        const AutosizeRecords::Record& r = table.records[i];
        const QRect next = autosizeRect(r.design, autosizeRule(r.tag), table.design, present, axis);
        // A control refuses a negative width or height; only that one change is skipped.
        const int width = next.width() < 0 ? control->width() : next.width();
        const int height = next.height() < 0 ? control->height() : next.height();
        control->setGeometry(next.x(), next.y(), width, height);
    }
}

}  // namespace nq
