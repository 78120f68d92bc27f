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

  std::string ran;
  RuntimeInitializersStore store;
};

TEST_F(RuntimeInit, RunsByKeyThenByRegistrationAndStopsInReverse) {
  EXPECT_CODE(store.registerStartup(5, noting("a")), ZRError::eNoError);
  EXPECT_CODE(store.registerStartup(1, noting("b")), ZRError::eNoError);
  EXPECT_CODE(store.registerStartup(5, noting("c")), ZRError::eNoError);
  EXPECT_CODE(store.registerStartup(-1, nullptr), ZRError::eNoError);
  for (const char* name : {"x", "y"})
    EXPECT_CODE(store.registerShutdown(noting(name)), ZRError::eNoError);
  {
    ZRRuntimeInit first(&store);
    EXPECT_CODE(first.initResult(), ZRError::eNoError);
    EXPECT_EQ(ran, "bac");
    {
      RuntimeInitializersStore ofItsOwn;
      static_cast<void>(ofItsOwn.registerStartup(1, noting("d")));
      static_cast<void>(ofItsOwn.registerShutdown(noting("z")));
      ZRRuntimeInit another(&ofItsOwn);
      EXPECT_CODE(another.initResult(), ZRError::eNoError);
    }
    EXPECT_EQ(ran, "bacdz");
    {
      ZRRuntimeInit second(&store);
      EXPECT_CODE(second.initResult(), ZRError::eNoError);
    }
    EXPECT_EQ(ran, "bacdz");
  }
  EXPECT_EQ(ran, "bacdzyx");
}

TEST_F(RuntimeInit, AFailureEndsTheStartButNotTheShutDown) {
  static_cast<void>(store.registerStartup(1, noting("a", ZRStatus::eNo)));
  static_cast<void>(store.registerStartup(2, noting("b", ZRError::eDiskFull)));
  static_cast<void>(store.registerStartup(3, noting("c")));
  static_cast<void>(store.registerShutdown(noting("x")));
  static_cast<void>(store.registerShutdown(noting("y", ZRError::eBusy)));
  test::LogCapture log;
  {
    ZRRuntimeInit guard(&store);
    const ZRResult result = guard.initResult();
    EXPECT_CODE(result, ZRError::eDiskFull);
    EXPECT_TRUE(result.message().startsWith("b\n\tError returned at initResult, runtimeinitializersstore:"));
  }
  EXPECT_EQ(ran, "abyx");
  EXPECT_EQ(log.lines().size(), 1u) << log.text();
  EXPECT_TRUE(log.contains(
      "W: ", "Warning at shutdown, runtimeinitializersstoreimpl:83\n\t(2012) \"ZRError::eBusy\""));
  EXPECT_CODE(store.result(), ZRError::eNoError);
}

TEST_F(RuntimeInit, StartsOnceOnly) {
  test::LogCapture log;
  store.initialise();
  store.initialise();
  EXPECT_CODE(store.result(), ZRError::eBadState);
  EXPECT_TRUE(
      store.result().message().startsWith("RuntimeInitializersStore already initialized at initialise"));

  RuntimeInitializersStore neverStarted;
  static_cast<void>(neverStarted.registerStartup(1, noting("a")));
  neverStarted.shutdown();
  neverStarted.initialise();
  EXPECT_CODE(neverStarted.result(), ZRError::eBadState);
  EXPECT_TRUE(neverStarted.result().message().startsWith("RuntimeInitializersStore already shutdown at "));
  EXPECT_EQ(ran, "");
}

}  // namespace
