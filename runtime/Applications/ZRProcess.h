#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>
#include <cstdint>

#include "runtime/Code/ZRResult.h"
#include "runtime/Threads/ZRMutex.h"

namespace zrrt {

class IProcessManager;

/// A process. Any thread; `wait` and `terminate` take no lock. `resume`, `getSessionId`, `activate` and
/// `getExecutablePath` are what no run calls.
class IProcess {
 public:
  virtual ~IProcess() = default;
  /// Lets a process that was started suspended run. Fails: eBadStatus when it was not, or was resumed
  /// already.
  virtual ZRResult resume() = 0;
  virtual ZRResult getSessionId(std::int32_t& sessionId) = 0;
  /// Brings the process's windows to the front. Not provided here: eNotImplemented.
  virtual ZRResult activate() = 0;
  /// Waits for the end, `timeoutMs` milliseconds at most (0xFFFFFFFF: no limit). Fails: eTimeout.
  virtual ZRResult wait(std::uint32_t timeoutMs) = 0;
  /// Ends it at once (SIGKILL).
  virtual ZRResult terminate() = 0;
  /// How it ended: the exit status with eNoError, or the signal's number with ZRProcessError::eSignaled. The
  /// answer stays the same from then on. Fails: ZRProcessError::eStillRunning; eNoAccess for a process that
  /// is not a child; eNotFound when somebody else collected it.
  virtual ZRResult getExitCode(std::uint8_t& code) = 0;
  virtual ZRResult getExecutablePath(ZRString& path) = 0;
  [[nodiscard]] virtual std::int32_t getId() const = 0;
};

}  // namespace zrrt

/// A started child.
class ZRMacProcess final : public zrrt::IProcess {
 public:
  enum class Waitable : bool { no, yes };
  enum class Suspended : bool { no, yes };

  ZRMacProcess(const boost::weak_ptr<zrrt::IProcessManager>& manager, std::int32_t id, Waitable waitable,
               Suspended suspended);

  ZRResult resume() override;
  ZRResult getSessionId(std::int32_t& sessionId) override;
  ZRResult activate() override;
  ZRResult wait(std::uint32_t timeoutMs) override;
  ZRResult terminate() override;
  ZRResult getExitCode(std::uint8_t& code) override;
  ZRResult getExecutablePath(ZRString& path) override;
  [[nodiscard]] std::int32_t getId() const override { return _id; }

 private:
  ZRResult collect();

  boost::weak_ptr<zrrt::IProcessManager> _manager;
  std::int32_t _id;
  bool _isWaitable;
  bool _isSuspended;
  bool _isCollected = false;
  std::uint8_t _exitCode = 0;
  ZRResult _collectedResult;
  ZRThreadMutex _mutex;
};
