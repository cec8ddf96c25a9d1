#include <gtest/gtest.h>

#include "tests/support/resting_state.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  test::InstallRestingStateListener();
  return RUN_ALL_TESTS();
}
