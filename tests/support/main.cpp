// Runs the tests. The trace goes to them alone: main of the program is not here to switch its echo on.
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
