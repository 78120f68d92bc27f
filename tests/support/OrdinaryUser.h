#pragma once

#include <memory>

namespace test {

/// Takes from the calling thread, for the length of a scope, what sets the superuser apart: modes of files
/// then hold for it as for their owner. Nothing changes for an ordinary user. Throws std::runtime_error where
/// the superuser cannot do that.
class OrdinaryUser {
 public:
  OrdinaryUser();
  ~OrdinaryUser();
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  struct Rights;
  std::unique_ptr<Rights> _before;
};

}  // namespace test
