#include "tests/desktop/DesktopKit.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const std::unique_ptr<QApplication> application = makeTestApplication(argc, argv);
    return RUN_ALL_TESTS();
}
