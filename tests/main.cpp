// The test program's main: reports and time texts are checked as UTC, whatever
// zone the program is started in.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

int main(int argc, char** argv) {
  setenv("TZ", "UTC", 1);
  tzset();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
