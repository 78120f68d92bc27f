#include "tests/support/OrdinaryUser.h"

#include <unistd.h>

#include <stdexcept>

namespace test {

struct OrdinaryUser::Rights {};

OrdinaryUser::OrdinaryUser() {
  if (geteuid() == 0) throw std::runtime_error("run this test as an ordinary user");
}

OrdinaryUser::~OrdinaryUser() = default;

}  // namespace test
