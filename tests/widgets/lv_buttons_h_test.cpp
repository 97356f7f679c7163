#include <gtest/gtest.h>

#include <QCursor>
#include <QTest>

#include <array>
#include <string>

#include "widgets/lv_buttons_h.h"

namespace nq {
namespace {

constexpr int kHeld = lvButtons_H::kHeldBit;
constexpr int kOver = lvButtons_H::kOverBit;

// Buttons of one mode side by side in one window, each counting its Click.
struct Row {
    explicit Row(int mode, int count = 1) {
        host.resize(320, 60);
        for (int i = 0; i < count; ++i) {
            auto* b = new lvButtons_H("b", &host);
            b->setGeometry(i * 100, 0, 90, 30);
            b->setMode(mode);
            QObject::connect(b, &lvButtons_H::Click, [this, i] { ++clicks[static_cast<size_t>(i)]; });
            buttons[static_cast<size_t>(i)] = b;
        }
        host.show();
        host.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&host));
        // Qt drops a move to where the cursor already is: each row starts off the buttons.
        QTest::mouseMove(&host, QPoint(315, 55));
    }
    lvButtons_H& at(int i) { return *buttons[static_cast<size_t>(i)]; }
    QWidget host;
    std::array<lvButtons_H*, 3> buttons{};
    std::array<int, 3> clicks{};
};

// One letter per user action on the button: m move over it, o move far off and let the
// hover poll run, p / r left press / release where the cursor is, s / S Space down / up,
// h Shift up, a Right arrow up.
void play(lvButtons_H& b, const std::string& script) {
    QPoint at = b.rect().center();
    for (char c : script) {
        if (c == 'm' || c == 'o') {
            at = c == 'm' ? b.rect().center() : QPoint(600, 500);
            QCursor::setPos(b.mapToGlobal(at));
            QTest::mouseMove(&b, at);
            // The poll ends the hover; a busy machine may run it late, so wait for it, not a time.
            if (c == 'o') (void)QTest::qWaitFor([&] { return !(b.state() & kOver); }, 2000);
        } else if (c == 'p') {
            QTest::mousePress(&b, Qt::LeftButton, {}, at);
        } else if (c == 'r') {
            QTest::mouseRelease(&b, Qt::LeftButton, {}, at);
        } else if (c == 's') {
            QTest::keyPress(&b, Qt::Key_Space);
        } else {
            QTest::keyRelease(&b, c == 'S' ? Qt::Key_Space : c == 'h' ? Qt::Key_Shift : Qt::Key_Right);
        }
    }
}

TEST(LvButtonsH, PressMoveReleaseAndKeysPerMode) {
    struct Case {
        int mode;
        bool value;  // before the script
        const char* script;
        int clicks;
        bool valueAfter;
        int state;
    };
    const Case cases[] = {
        {lvButtons_H::Command, false, "m", 0, false, kOver},
        {lvButtons_H::Command, false, "mo", 0, false, 0},  // the poll ends the hover
        {lvButtons_H::Command, false, "mp", 0, false, kHeld | kOver},
        {lvButtons_H::Command, false, "mpr", 1, false, kOver},
        {lvButtons_H::Command, false, "mpor", 0, false, 0},  // released off the button
        {lvButtons_H::Command, false, "mpomr", 1, false, kOver},
        {lvButtons_H::Command, false, "s", 0, false, kHeld},
        {lvButtons_H::Command, false, "sS", 1, false, 0},
        {lvButtons_H::Command, false, "S", 0, false, 0},  // Space up without a press
        {lvButtons_H::Command, false, "ha", 0, false, 0},
        {lvButtons_H::Check, false, "mpr", 1, true, kOver},
        {lvButtons_H::Check, false, "mprpr", 2, false, kOver},
        {lvButtons_H::Check, true, "ha", 0, true, 0},
        {lvButtons_H::Option, false, "mpr", 1, true, kOver},
        {lvButtons_H::Option, true, "mpr", 1, true, kOver},
        {lvButtons_H::Option, false, "h", 1, true, 0},
        {lvButtons_H::Option, false, "a", 1, true, 0},
        {lvButtons_H::Option, true, "ha", 0, true, 0},
    };
    for (const Case& c : cases) {
        Row row(c.mode);
        row.at(0).setValue(c.value);
        play(row.at(0), c.script);
        const std::string what = std::to_string(c.mode) + " " + c.script;
        EXPECT_EQ(row.clicks[0], c.clicks) << what;
        EXPECT_EQ(row.at(0).value(), c.valueAfter) << what;
        EXPECT_EQ(row.at(0).state(), c.state) << what;
    }
}

TEST(LvButtonsH, OneOptionOfAGroupIsChosenAndArrowsChooseTheNext) {
    Row row(lvButtons_H::Option, 3);
    QWidget elsewhere;
    lvButtons_H other(&elsewhere);
    other.setMode(lvButtons_H::Option);
    other.setValue(true);
    const auto values = [&row] {
        return std::array<bool, 3>{row.at(0).value(), row.at(1).value(), row.at(2).value()};
    };

    row.at(0).setValue(true);
    play(row.at(1), "mpr");
    EXPECT_EQ(values(), (std::array<bool, 3>{false, true, false}));
    EXPECT_TRUE(other.value()) << "another parent is another group";

    row.at(1).setFocus();
    // Keys go to whichever button has the focus: the press moves it on, the release chooses.
    QTest::keyPress(static_cast<QWidget*>(nullptr), Qt::Key_Right);
    QTest::keyRelease(static_cast<QWidget*>(nullptr), Qt::Key_Right);
    EXPECT_EQ(values(), (std::array<bool, 3>{false, false, true}));
    EXPECT_EQ(row.clicks, (std::array<int, 3>{0, 1, 1}));

    row.at(0).setValue(true);
    EXPECT_EQ(values(), (std::array<bool, 3>{true, false, false}));
    EXPECT_EQ(row.clicks, (std::array<int, 3>{0, 1, 1})) << "setting Value is no click";
    row.at(1).setEnabled(false);
    row.at(1).click();
    EXPECT_EQ(values(), (std::array<bool, 3>{true, false, false})) << "a disabled button takes no click";
}

}  // namespace
}  // namespace nq
