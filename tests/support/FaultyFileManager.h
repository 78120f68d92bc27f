#pragma once

#include <cerrno>
#include <optional>
#include <string>

#include "platform/FileManager.h"

namespace test {

/// The system's file manager, of which single calls fail.
class FaultyFileManager : public platform::FileManager {
 public:
  enum class Call { copy, create, folder, move, rename, remove, replace, attributes };

  /// Calls of that kind, and only they, fail from now on where the path (of two: the new one) ends so.
  void fail(Call call, const std::string& ending = "") { _fault = {call, ending}; }
  /// The n-th call that changes something, counted from 1 and from now, fails; 0: none does.
  void failNth(unsigned n, int number) {
    _changes = 0;
    _failingChange = n;
    _number = number;
  }
  /// Calls that change something.
  [[nodiscard]] unsigned changes() const { return _changes; }
  void heal() {
    _fault.reset();
    _failingChange = 0;
  }

  platform::Error createFolder(const std::string& path) override {
    return change(Call::create, path, [&] { return FileManager::createFolder(path); });
  }
  platform::Error copyItem(const std::string& from, const std::string& to) override {
    return change(Call::copy, to, [&] { return FileManager::copyItem(from, to); });
  }
  platform::Error renameItem(const std::string& from, const std::string& to) override {
    return change(Call::rename, to, [&] { return FileManager::renameItem(from, to); });
  }
  platform::Error moveItem(const std::string& from, const std::string& to) override {
    return change(Call::move, to, [&] { return FileManager::moveItem(from, to); });
  }
  platform::Error removeItem(const std::string& path) override {
    return change(Call::remove, path, [&] { return FileManager::removeItem(path); });
  }
  platform::Error createPrivateFolder(const std::string& parent, std::string& folder) override {
    return change(Call::folder, parent, [&] { return FileManager::createPrivateFolder(parent, folder); });
  }
  platform::Error setAttributes(const std::string& path, const platform::ItemAttributes& set) override {
    return change(Call::attributes, path, [&] { return FileManager::setAttributes(path, set); });
  }
  platform::Error createReplacementFolder(const std::string& destination, std::string& folder) override {
    return change(Call::folder, destination,
                  [&] { return FileManager::createReplacementFolder(destination, folder); });
  }
  platform::Error replaceItem(const std::string& destination, const std::string& replacement,
                              const std::string& backup) override {
    return change(Call::replace, destination,
                  [&] { return FileManager::replaceItem(destination, replacement, backup); });
  }

  /// An item whose path ends so lies on another volume than it does.
  std::string elsewhere = "\n";
  platform::Error fileSystemNumber(const std::string& path, std::uint64_t& number) const override {
    const auto error = FileManager::fileSystemNumber(path, number);
    if (path.ends_with(elsewhere)) ++number;
    return error;
  }

 private:
  struct Fault {
    Call call;
    std::string ending;
  };

  template <typename Real>
  platform::Error change(Call call, const std::string& path, Real real) {
    if (++_changes == _failingChange) return platform::posixError(_number, path);
    const bool isFault = _fault && _fault->call == call && path.ends_with(_fault->ending);
    return isFault ? platform::posixError(EIO, path) : real();
  }

  std::optional<Fault> _fault;
  unsigned _changes = 0;
  unsigned _failingChange = 0;
  int _number = 0;
};

}  // namespace test
