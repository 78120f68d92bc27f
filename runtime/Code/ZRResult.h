#pragma once

#include <cstdint>

#include "runtime/Strings/ZRString.h"

/// @file
/// The result of nearly every operation of the runtime: a 32-bit code and an optional message.
///
/// A code of 2001 or more is a failure; everything below is a success, `ZRError::eNoError` (2000) as well as
/// the yes/no answers `ZRStatus::eNo` (1000) and `ZRStatus::eYes` (1001).

struct ZRStatus {
  enum Code : std::uint32_t {
    eNo = 1000,
    eYes = 1001,
    eLessThan = 1002,
    eGreaterThan = 1003,
    eEqualTo = 1004,
    eInProgress = 1005,
    eTruncated = 1006,
    eNeedData = 1007,
  };
};

struct ZRHttpStatus {
  enum Code : std::uint32_t {
    eOK = 1200,
    eCreated = 1201,
    eAccepted = 1202,
    eNonAuthoritative = 1203,
    eNoContent = 1204,
    eResetContent = 1205,
    ePartialContent = 1206,
  };
};

struct ZRNetworkStatus {
  enum Code : std::uint32_t { eFlushNone = 1500, eFlushSome = 1501, eFlushAll = 1502 };
};

struct ZRError {
  enum Code : std::uint32_t {
    eNoError = 2000,
    eSomeError = 2001,
    eNullPointer = 2002,
    eBadHandle = 2003,
    eNoMemory = 2004,
    eBadParameter = 2005,
    eNoAccess = 2006,
    eNotInitialized = 2007,
    eNotFound = 2008,
    eExists = 2009,
    eIOError = 2010,
    eTooMany = 2011,
    eBusy = 2012,
    eIncomplete = 2013,
    eEnd = 2014,
    eDiskFull = 2015,
    eBadIndex = 2016,
    eBadFormat = 2017,
    eNotImplemented = 2018,
    eBadStatus = 2019,
    eUnexpected = 2020,
    ePreconditionFailed = 2021,
    eVerifyFailed = 2022,
    eRPC = 2023,
    eTimeout = 2024,
    eBadProtocol = 2025,
    eInvalidType = 2026,
    eUserCanceled = 2028,  // 2027 has no name
    eInUse = 2029,
    eWriteProtect = 2030,
    eNotReady = 2031,
    eExpected = 2032,
    eTooLong = 2033,
    eBadSequence = 2034,
    eBadState = 2035,
    eErrorCount = 2036,  ///< end marker of the family
  };
};

struct ZRThreadError {
  enum Code : std::uint32_t {
    eNotInitialized = 3000,
    eNotRunning = 3001,
    eCantJoinCurrent = 3002,
    eWaitFailed = 3003,
    eWaitAbandoned = 3005,
    eCanceled = 3006,
    eWaitObject = 3007,
  };
};

struct ZRProcessError {
  enum Code : std::uint32_t { eStillRunning = 3500, eCurrentProcess = 3501, eSignaled = 3502 };
};

struct ZRNetworkError {
  enum Code : std::uint32_t {
    eSocketError = 4000,
    eUnknownHost = 4001,
    eConnectError = 4002,
    eSSLError = 4003,
    eHTTPError = 4004,
    eAuthError = 4005,
  };
};

struct ZRSecurityError {
  enum Code : std::uint32_t {
    eBadCertificate = 9000,
    eCertificateExpired = 9001,
    eBadAlgorithm = 9002,
    eBadKeySize = 9004,
    eBadBlockSize = 9005,
    eIntegrityFailed = 9006,
    eAuthFailed = 9007,
    eCertificateNotYetValid = 9008,
    eNotYetValid = 9009,
    eExpired = 9010,
  };
};

struct ZRWindowsSecurityError {
  enum Code : std::uint32_t { eDenyOnly = 10500, eDisabled = 10501, eRestricted = 10502, eNotAdmin = 10503 };
};

struct ZRDeviceError {
  enum Code : std::uint32_t {
    eDeviceError = 12000,
    eDeviceShutdown = 12001,
    eDeviceNotReady = 12002,
    eConnectionRefused = 12003,
    eConnectionTimeout = 12004,
    eConnectionReset = 12005,
    eConnectionExists = 12006,
    eConnectionAborted = 12007,
    eAddressInUse = 12008,
    eAddressUnreachable = 12009,
    eLostConnection = 12010,
    eUnableToInitialize = 12011,
  };
};

struct ZRCCLError {
  enum Code : std::uint32_t {
    eNullIpcAdapter = 12500,
    eDeadObject = 12501,
    eNotRetained = 12502,
    eServerException = 12503,
    eParamSerializationFailed = 12504,
    eParamUnserializationFailed = 12505,
    eIpcCallToInprocMethod = 12506,
    eMalwareClientAuthenticationFailed = 12507,
    eUnexpectedNilResult = 12511,
    eCease = 12521,
  };
};

/// 13000 plus the HTTP status number.
struct ZRHttpError {
  enum Code : std::uint32_t {
    eUnknownStatus = 13000,
    eMultipleChoices = 13300,
    ePermanentRedirect = 13301,
    eFound = 13302,
    eResponseRedirect = 13303,
    eNotModified = 13304,
    eUseProxy = 13305,
    eTempRedirect = 13307,
    eBadRequest = 13400,
    eUnauthorized = 13401,
    eForbidden = 13403,
    eNotFound = 13404,
    eNotAllowed = 13405,
    eNotAcceptable = 13406,
    eProxyAuthRequired = 13407,
    eRequestTimeout = 13408,
    eConflict = 13409,
    eGone = 13410,
    eLengthRequired = 13411,
    ePreconditionFailed = 13412,
    eRequestTooLarge = 13413,
    eRequestUriTooLong = 13414,
    eUnsupportedMediaType = 13415,
    eRangeNotSatisfiable = 13416,
    eExpectationFailed = 13417,
    eInternalServerError = 13500,
    eNotImplemented = 13501,
    eBadGateway = 13502,
    eServiceUnavailable = 13503,
    eGatewayTimeout = 13504,
    eVersionNotSupported = 13505,
  };
};

/// A place in the sources; ZR_HERE makes one.
struct ZRLocation {
  const char* function;  ///< may be null
  const char* file;
  int line;

  /// "function, file.cpp:12": the function (or nothing), the last path component in lower case, the line.
  [[nodiscard]] ZRString text() const;
};

#define ZR_HERE                  \
  ZRLocation {                   \
    __func__, __FILE__, __LINE__ \
  }

class [[nodiscard]] ZRResult {
 public:
  ZRResult() : ZRResult(ZRError::eNoError) {}
  ZRResult(std::uint32_t code) : _code(code) {}  // NOLINT: a code is a result
  /// The message is formatted in the manner of printf and cut at 65,535 bytes.
  [[gnu::format(printf, 3, 4)]] ZRResult(std::uint32_t code, const char* format, ...);

  [[nodiscard]] std::uint32_t code() const noexcept { return _code; }
  void setCode(std::uint32_t code) noexcept { _code = code; }
  [[nodiscard]] bool isFailure() const noexcept { return _code >= ZRError::eSomeError; }
  [[nodiscard]] bool isSuccess() const noexcept { return !isFailure(); }

  [[nodiscard]] const ZRString& message() const noexcept { return _message; }
  [[nodiscard]] bool hasMessage() const noexcept { return !_message.isEmpty(); }
  /// Appends "\n\t" (unless the message is empty) and the formatted text, at most 65,534 bytes of it.
  [[gnu::format(printf, 2, 3)]] void append(const char* format, ...);

  /// The log level at which the result asks to be reported; used by a report that is given level -1.
  [[nodiscard]] std::int32_t level() const noexcept { return _level; }
  void setLevel(std::int32_t level) noexcept { _level = level; }

  /// `(2008) "ZRError::eNotFound"`.
  [[nodiscard]] ZRString codeText() const;
  /// "ZRError::eNotFound"; never null. A code without a name has its range's text.
  [[nodiscard]] static const char* codeName(std::uint32_t code);

  /// The result of a failed system call: the code that the errno value stands for, and the message "<system's
  /// text> Method "<method>" returned CRT error [<number>]. " (no separator between). A null method prints as
  /// empty.
  [[nodiscard]] static ZRResult fromSystemError(const char* method, int errorNumber);

  /// The same code with "<text> at <location>" appended to the message.
  [[nodiscard]] ZRResult wrapped(const char* text, const ZRLocation& location) const;

  /// `eBadParameter` with "Parameter check "<expression>" failed at <location>.".
  [[nodiscard]] static ZRResult parameterCheckFailed(const char* expression, const ZRLocation& location);

  // What no run calls.
  /// A function that names codes of its own, null for others. Asked after the built-in names, in the order of
  /// registration. To be called during start-up only.
  using NameProvider = const char* (*)(std::uint32_t code);
  static void registerNameProvider(NameProvider provider);

 private:
  ZRString _message;
  std::uint32_t _code;
  std::int32_t _level = 0;
};

/// Logs a failure; a success writes nothing. One entry at `level` (-1: the result's own): "<text> at
/// <location>", the code text and the message, each on a line of its own behind a tab.
void zrReport(std::int32_t level, const ZRResult& result, const char* text, const ZRLocation& location);

/// The same with the word of the level as the text: "Debug message", "Information", "Warning" or "Error".
void zrReportLevel(std::int32_t level, const ZRResult& result, const ZRLocation& location);

/// Logs "Assertion failure at <location>" at level 6; execution continues.
void zrAssertionFailed(const ZRLocation& location);
/// Logs "Assertion failure at <location>. <detail>" at level 6, the detail cut at 510 characters.
[[gnu::format(printf, 2, 3)]] void zrAssertionFailed(const ZRLocation& location, const char* format, ...);

/// The end of a program at a boundary that an exception reached: flushes all output, writes "exception:" and
/// the current exception's text ("unknown" when it has none) to standard error, and aborts.
[[noreturn]] void zrUnhandledException() noexcept;

/// Returns the failure of `expression`, wrapped with "Error returned" and this place, from the calling
/// function.
#define ZR_RETURN_FAILURE(expression)                                      \
  do {                                                                     \
    if (const ZRResult& zrOutcome = (expression); zrOutcome.isFailure()) { \
      return zrOutcome.wrapped("Error returned", ZR_HERE);                 \
    }                                                                      \
  } while (false)

/// Returns `eBadParameter` from the calling function unless the condition holds.
#define ZR_CHECK_PARAMETER(condition)                                             \
  do {                                                                            \
    if (!(condition)) return ZRResult::parameterCheckFailed(#condition, ZR_HERE); \
  } while (false)
