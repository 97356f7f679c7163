#include <gtest/gtest.h>

#include <cstdlib>

#ifdef NQ_TEST_WITH_QT
#include <QApplication>
#endif

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // Tests that start our executables find them here unless the caller points elsewhere.
    setenv("NQ_BIN_DIR", NQ_BIN_DIR, 0);
#ifdef NQ_TEST_WITH_QT
    // Headless whatever the caller's environment: tests never need a display.
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);
#endif
    return RUN_ALL_TESTS();
}
