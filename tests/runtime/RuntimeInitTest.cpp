#include <gtest/gtest.h>

#include "runtime/Applications/ZRRuntimeInit.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

/// A store whose functions note that they ran.
class RuntimeInit : public testing::Test {
 protected:
  RuntimeInitializersStore::Function noting(const std::string& name, std::uint32_t code = ZRError::eNoError) {
    return [this, name, code] {
      ran += name;
      return ZRResult(code, "%s", name.c_str());
    };
  }
  void startup(std::int32_t key, const std::string& name, std::uint32_t code = ZRError::eNoError) {
    EXPECT_CODE(store.registerStartup(key, noting(name, code)), ZRError::eNoError);
  }
  void shutdown(const std::string& name, std::uint32_t code = ZRError::eNoError) {
    EXPECT_CODE(store.registerShutdown(noting(name, code)), ZRError::eNoError);
  }

  std::string ran;
  RuntimeInitializersStore store;
};

TEST_F(RuntimeInit, RunsByKeyThenByRegistrationAndStopsInReverse) {
  startup(5, "a");
  startup(1, "b");
  startup(5, "c");
  shutdown("x");
  shutdown("y");
  {
    ZRRuntimeInit first(&store);
    ZRRuntimeInit second(&store);
    EXPECT_CODE(first.initResult(), ZRError::eNoError);
    EXPECT_CODE(second.initResult(), ZRError::eNoError);
    EXPECT_EQ(ran, "bac");
  }
  EXPECT_EQ(ran, "bacyx");
}

TEST_F(RuntimeInit, AFailureEndsTheStartButNotTheShutDown) {
  startup(1, "a", ZRStatus::eNo);
  startup(2, "b", ZRError::eDiskFull);
  startup(3, "c");
  shutdown("x");
  shutdown("y", ZRError::eBusy);
  const test::LogCapture log;
  {
    ZRRuntimeInit guard(&store);
    EXPECT_CODE(guard.initResult(), ZRError::eDiskFull);
  }
  EXPECT_EQ(ran, "abyx");
  EXPECT_LOGGED(log,
                "W: ", "Warning at shutdown, runtimeinitializersstoreimpl:83\n\t(2012) \"ZRError::eBusy\"");
}

}  // namespace
