#include "runtime/Applications/ZRRuntimeInit.h"

#include <boost/thread/mutex.hpp>
#include <utility>

#include "runtime/Code/ZRLog.h"

namespace {

/// Serialises construction and destruction of guards, and with them the start-up and shut-down functions.
boost::mutex& guardMutex() {
  static boost::mutex mutex;
  return mutex;
}

}  // namespace

ZRResult RuntimeInitializersStore::registerStartup(std::int32_t orderKey, Function startup) {
  _startups.emplace(orderKey, std::move(startup));
  return ZRError::eNoError;
}

ZRResult RuntimeInitializersStore::registerShutdown(Function shutdown) {
  _shutdowns.push_front(std::move(shutdown));
  return ZRError::eNoError;
}

void RuntimeInitializersStore::initialise() {
  if (_initialised) {
    _result = ZRResult(ZRError::eBadState).wrapped("RuntimeInitializersStore already initialized", ZR_HERE);
    return;
  }
  if (_shutDown) {
    _result = ZRResult(ZRError::eBadState).wrapped("RuntimeInitializersStore already shutdown", ZR_HERE);
    return;
  }
  while (!_startups.empty()) {
    const Function startup = std::move(_startups.begin()->second);
    _startups.erase(_startups.begin());
    if (!startup) continue;
    if (ZRResult outcome = startup(); outcome.isFailure()) {
      _result = outcome;
      break;
    }
  }
  _startups.clear();
  _initialised = true;
}

void RuntimeInitializersStore::shutdown() {
  for (const Function& function : _shutdowns) {
    if (!function) continue;
    zrReportLevel(ZRLogLevel::eWarning, function(), {__func__, "RuntimeInitializersStoreImpl", 83});
  }
  _shutdowns.clear();
  _result = ZRError::eNoError;
  _shutDown = true;
}

RuntimeInitializersStore& RuntimeInitializersStore::instance() {
  static RuntimeInitializersStore& store = *std::make_unique<RuntimeInitializersStore>().release();
  return store;
}

RuntimeInitializer::RuntimeInitializer(std::int32_t orderKey, RuntimeInitializersStore::Function startup,
                                       RuntimeInitializersStore::Function shutdown) {
  RuntimeInitializersStore& store = RuntimeInitializersStore::instance();
  static_cast<void>(store.registerStartup(orderKey, std::move(startup)));
  static_cast<void>(store.registerShutdown(std::move(shutdown)));
}

ZRRuntimeInit::ZRRuntimeInit(RuntimeInitializersStore* store) : _store(store) {
  const boost::mutex::scoped_lock lock(guardMutex());
  if (_store != nullptr && _store->_guards++ == 0) _store->initialise();
}

ZRRuntimeInit::~ZRRuntimeInit() {
  if (!_checked) {
    zrrt::log(
        ZRLogLevel::eWarning,
        "Please call initResult() to check for failure, immediately after the CRuntimeInit constructor.");
  }
  const boost::mutex::scoped_lock lock(guardMutex());
  if (_store != nullptr && --_store->_guards == 0) _store->shutdown();
}

ZRResult ZRRuntimeInit::initResult() {
  _checked = true;
  if (_store == nullptr) {
    zrReport(ZRLogLevel::eError, ZRError::eNoMemory, "Error returned", ZR_HERE);
    return ZRError::eNoMemory;
  }
  const ZRResult& result = _store->result();
  if (result.isSuccess()) return result;
  return result.wrapped("Error returned", {__func__, "RuntimeInitializersStore", __LINE__});
}
