#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>

#include "runtime/Code/ZRResult.h"

/// The start-up and shut-down functions of the runtime's modules. Filled during static construction, run by
/// the first and the last ZRRuntimeInit. It never returns to an earlier state.
class RuntimeInitializersStore {
 public:
  using Function = std::function<ZRResult()>;

  /// Lower keys run first, equal keys in the order of registration. Always succeeds.
  ZRResult registerStartup(std::int32_t orderKey, Function startup);
  /// The last registered runs first. Always succeeds.
  ZRResult registerShutdown(Function shutdown);

  /// Runs the start-up functions up to the first failure, which `result` keeps; the functions behind it are
  /// dropped.
  void initialise();
  /// Runs all shut-down functions, reporting failures.
  void shutdown();

  /// The first failure of a start-up function, or eBadState for a second initialisation or one after the
  /// shut-down.
  [[nodiscard]] const ZRResult& result() const { return _result; }

  /// The process's store, made on first use and never destroyed.
  [[nodiscard]] static RuntimeInitializersStore& instance();

 private:
  friend class ZRRuntimeInit;

  unsigned _guards = 0;  ///< that exist for the store
  bool _initialised = false;
  bool _shutDown = false;
  ZRResult _result;
  std::multimap<std::int32_t, Function> _startups;
  std::list<Function> _shutdowns;
};

/// Registers functions of a module during static construction:
/// `const RuntimeInitializer kProcesses(10, &ZRProcessManager::init, &ZRProcessManager::shutdown);`
/// The object must lie in a source file that something else of the program needs, or the linker leaves it
/// out.
class RuntimeInitializer {
 public:
  RuntimeInitializer(std::int32_t orderKey, RuntimeInitializersStore::Function startup,
                     RuntimeInitializersStore::Function shutdown);
};

/// The runtime's guard: the first one of a store starts it, the end of the last one shuts it down.
class ZRRuntimeInit {
 public:
  ZRRuntimeInit() : ZRRuntimeInit(&RuntimeInitializersStore::instance()) {}
  /// For a store of one's own. Null: there is none.
  explicit ZRRuntimeInit(RuntimeInitializersStore* store);
  ~ZRRuntimeInit();
  ZRRuntimeInit(const ZRRuntimeInit&) = delete;
  ZRRuntimeInit& operator=(const ZRRuntimeInit&) = delete;

  /// How the start went. To be asked at once after construction.
  ZRResult initResult();

 private:
  RuntimeInitializersStore* _store;
  bool _checked = false;
};
