#pragma once

#include <dlfcn.h>

#include <string>

namespace platform {

/// A library that is loaded when it is needed and stays loaded until the process ends.
class SharedLibrary {
 public:
  explicit SharedLibrary(const char* name) : _handle(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {
    if (_handle == nullptr) noteProblem();
  }

  /// Sets `function` to the library's function of that name.
  template <class Function>
  void find(const char* name, Function*& function) {
    if (_handle == nullptr) return;
    function = reinterpret_cast<Function*>(dlsym(_handle, name));
    if (function == nullptr) noteProblem();
  }

  /// What went wrong first; empty when the library and everything looked for is there.
  [[nodiscard]] const std::string& problem() const { return _problem; }

 private:
  void noteProblem() {
    const char* text = dlerror();
    if (_problem.empty()) _problem = text != nullptr ? text : "unknown error";
  }

  void* _handle;
  std::string _problem;
};

}  // namespace platform
