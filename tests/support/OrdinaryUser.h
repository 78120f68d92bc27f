#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdint>

namespace test {

/// Takes from the calling thread, for the length of a scope, what sets the superuser apart: modes of files
/// then hold for it as for their owner. Nothing changes for an ordinary user.
class OrdinaryUser {
 public:
  OrdinaryUser() {
    syscall(SYS_capget, &_header, _before.data());
    auto reduced = _before;
    for (auto& set : reduced)
      set.effective = 0;
    syscall(SYS_capset, &_header, reduced.data());
  }
  ~OrdinaryUser() { syscall(SYS_capset, &_header, _before.data()); }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  __user_cap_header_struct _header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, 2> _before{};
};

}  // namespace test
