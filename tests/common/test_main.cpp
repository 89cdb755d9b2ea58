// main() of every test program: either a worker process or the test run.
#include <gtest/gtest.h>

#include "kvtest.h"

int main(int argc, char** argv) {
  int code = 0;
  if (kvtest::RunWorkerIfRequested(argc, argv, &code)) return code;
  ::testing::InitGoogleTest(&argc, argv);
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  return RUN_ALL_TESTS();
}
