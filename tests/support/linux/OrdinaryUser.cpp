#include "tests/support/OrdinaryUser.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

namespace test {

struct OrdinaryUser::Rights {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, 2> sets{};
};

OrdinaryUser::OrdinaryUser() : _before(std::make_unique<Rights>()) {
  syscall(SYS_capget, &_before->header, _before->sets.data());
  auto reduced = _before->sets;
  for (auto& set : reduced)
    set.effective = 0;
  syscall(SYS_capset, &_before->header, reduced.data());
}

OrdinaryUser::~OrdinaryUser() {
  syscall(SYS_capset, &_before->header, _before->sets.data());
}

}  // namespace test
