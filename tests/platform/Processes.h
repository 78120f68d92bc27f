#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace test {

/// Does the work in so many processes at once, each of which is given its number; each must answer true.
inline void inProcesses(int count, const std::function<bool(int)>& work) {
  for (int i = 0; i < count; ++i)
    if (fork() == 0) _exit(work(i) ? 0 : 1);
  for (int i = 0; i < count; ++i) {
    int status = -1;
    EXPECT_GT(wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
}

}  // namespace test
