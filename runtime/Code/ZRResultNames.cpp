#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <vector>

#include "runtime/Code/ZRResult.h"

namespace {

struct NamedCode {
  std::uint32_t code;
  const char* name;
};

/// In ascending order of code.
constexpr NamedCode kNamedCodes[] = {
    {1000, "ZRStatus::eNo"},
    {1001, "ZRStatus::eYes"},
    {1002, "ZRStatus::eLessThan"},
    {1003, "ZRStatus::eGreaterThan"},
    {1004, "ZRStatus::eEqualTo"},
    {1005, "ZRStatus::eInProgress"},
    {1006, "ZRStatus::eTruncated"},
    {1007, "ZRStatus::eNeedData"},
    {1200, "ZRHttpStatus::eOK"},
    {1201, "ZRHttpStatus::eCreated"},
    {1202, "ZRHttpStatus::eAccepted"},
    {1203, "ZRHttpStatus::eNonAuthoritative"},
    {1204, "ZRHttpStatus::eNoContent"},
    {1205, "ZRHttpStatus::eResetContent"},
    {1206, "ZRHttpStatus::ePartialContent"},
    {1500, "ZRNetworkStatus::eFlushNone"},
    {1501, "ZRNetworkStatus::eFlushSome"},
    {1502, "ZRNetworkStatus::eFlushAll"},
    {2000, "ZRError::eNoError"},
    {2001, "ZRError::eSomeError"},
    {2002, "ZRError::eNullPointer"},
    {2003, "ZRError::eBadHandle"},
    {2004, "ZRError::eNoMemory"},
    {2005, "ZRError::eBadParameter"},
    {2006, "ZRError::eNoAccess"},
    {2007, "ZRError::eNotInitialized"},
    {2008, "ZRError::eNotFound"},
    {2009, "ZRError::eExists"},
    {2010, "ZRError::eIOError"},
    {2011, "ZRError::eTooMany"},
    {2012, "ZRError::eBusy"},
    {2013, "ZRError::eIncomplete"},
    {2014, "ZRError::eEnd"},
    {2015, "ZRError::eDiskFull"},
    {2016, "ZRError::eBadIndex"},
    {2017, "ZRError::eBadFormat"},
    {2018, "ZRError::eNotImplemented"},
    {2019, "ZRError::eBadStatus"},
    {2020, "ZRError::eUnexpected"},
    {2021, "ZRError::ePreconditionFailed"},
    {2022, "ZRError::eVerifyFailed"},
    {2023, "ZRError::eRPC"},
    {2024, "ZRError::eTimeout"},
    {2025, "ZRError::eBadProtocol"},
    {2026, "ZRError::eInvalidType"},
    {2028, "ZRError::eUserCanceled"},
    {2029, "ZRError::eInUse"},
    {2030, "ZRError::eWriteProtect"},
    {2031, "ZRError::eNotReady"},
    {2032, "ZRError::eExpected"},
    {2033, "ZRError::eTooLong"},
    {2034, "ZRError::eBadSequence"},
    {2035, "ZRError::eBadState"},
    {2036, "ZRError::eErrorCount"},
    {3000, "ZRThreadError::eNotInitialized"},
    {3001, "ZRThreadError::eNotRunning"},
    {3002, "ZRThreadError::eCantJoinCurrent"},
    {3003, "ZRThreadError::eWaitFailed"},
    {3005, "ZRThreadError::eWaitAbandoned"},
    {3006, "ZRThreadError::eCanceled"},
    {3007, "ZRThreadError::eWaitObject"},
    {3500, "ZRProcessError::eStillRunning"},
    {3501, "ZRProcessError::eCurrentProcess"},
    {3502, "ZRProcessError::eSignaled"},
    {4000, "ZRNetworkError::eSocketError"},
    {4001, "ZRNetworkError::eUnknownHost"},
    {4002, "ZRNetworkError::eConnectError"},
    {4003, "ZRNetworkError::eSSLError"},
    {4004, "ZRNetworkError::eHTTPError"},
    {4005, "ZRNetworkError::eAuthError"},
    {9000, "ZRSecurityError::eBadCertificate"},
    {9001, "ZRSecurityError::eCertificateExpired"},
    {9002, "ZRSecurityError::eBadAlgorithm"},
    {9004, "ZRSecurityError::eBadKeySize"},
    {9005, "ZRSecurityError::eBadBlockSize"},
    {9006, "ZRSecurityError::eIntegrityFailed"},
    {9007, "ZRSecurityError::eAuthFailed"},
    {9008, "ZRSecurityError::eCertificateNotYetValid"},
    {9009, "ZRSecurityError::eNotYetValid"},
    {9010, "ZRSecurityError::eExpired"},
    {10500, "ZRWindowsSecurityError::eDenyOnly"},
    {10501, "ZRWindowsSecurityError::eDisabled"},
    {10502, "ZRWindowsSecurityError::eRestricted"},
    {10503, "ZRWindowsSecurityError::eNotAdmin"},
    {12000, "ZRDeviceError::eDeviceError"},
    {12001, "ZRDeviceError::eDeviceShutdown"},
    {12002, "ZRDeviceError::eDeviceNotReady"},
    {12003, "ZRDeviceError::eConnectionRefused"},
    {12004, "ZRDeviceError::eConnectionTimeout"},
    {12005, "ZRDeviceError::eConnectionReset"},
    {12006, "ZRDeviceError::eConnectionExists"},
    {12007, "ZRDeviceError::eConnectionAborted"},
    {12008, "ZRDeviceError::eAddressInUse"},
    {12009, "ZRDeviceError::eAddressUnreachable"},
    {12010, "ZRDeviceError::eLostConnection"},
    {12011, "ZRDeviceError::eUnableToInitialize"},
    {12500, "ZRCCLError::eNullIpcAdapter"},
    {12501, "ZRCCLError::eDeadObject"},
    {12502, "ZRCCLError::eNotRetained"},
    {12503, "ZRCCLError::eServerException"},
    {12504, "ZRCCLError::eParamSerializationFailed"},
    {12505, "ZRCCLError::eParamUnserializationFailed"},
    {12506, "ZRCCLError::eIpcCallToInprocMethod"},
    {12507, "ZRCCLError::eMalwareClientAuthenticationFailed"},
    {12511, "ZRCCLError::eUnexpectedNilResult"},
    {12521, "ZRCCLError::eCease"},
    {13000, "ZRHttpError::eUnknownStatus"},
    {13300, "ZRHttpError::eMultipleChoices"},
    {13301, "ZRHttpError::ePermanentRedirect"},
    {13302, "ZRHttpError::eFound"},
    {13303, "ZRHttpError::eResponseRedirect"},
    {13304, "ZRHttpError::eNotModified"},
    {13305, "ZRHttpError::eUseProxy"},
    {13307, "ZRHttpError::eTempRedirect"},
    {13400, "ZRHttpError::eBadRequest"},
    {13401, "ZRHttpError::eUnauthorized"},
    {13403, "ZRHttpError::eForbidden"},
    {13404, "ZRHttpError::eNotFound"},
    {13405, "ZRHttpError::eNotAllowed"},
    {13406, "ZRHttpError::eNotAcceptable"},
    {13407, "ZRHttpError::eProxyAuthRequired"},
    {13408, "ZRHttpError::eRequestTimeout"},
    {13409, "ZRHttpError::eConflict"},
    {13410, "ZRHttpError::eGone"},
    {13411, "ZRHttpError::eLengthRequired"},
    {13412, "ZRHttpError::ePreconditionFailed"},
    {13413, "ZRHttpError::eRequestTooLarge"},
    {13414, "ZRHttpError::eRequestUriTooLong"},
    {13415, "ZRHttpError::eUnsupportedMediaType"},
    {13416, "ZRHttpError::eRangeNotSatisfiable"},
    {13417, "ZRHttpError::eExpectationFailed"},
    {13500, "ZRHttpError::eInternalServerError"},
    {13501, "ZRHttpError::eNotImplemented"},
    {13502, "ZRHttpError::eBadGateway"},
    {13503, "ZRHttpError::eServiceUnavailable"},
    {13504, "ZRHttpError::eGatewayTimeout"},
    {13505, "ZRHttpError::eVersionNotSupported"},
};

struct CodeRange {
  std::uint32_t first;
  std::uint32_t last;
  const char* text;
};

/// What a code without a name prints as, by the range that it lies in.
constexpr CodeRange kRanges[] = {
    {1000, 1099, "unrecognized status code"},
    {1500, 1599, "network status code"},
    {2001, 2999, "unrecognized basic error code"},
    {3000, 3499, "unrecognized thread error code"},
    {4000, 4999, "network error code"},
    {5000, 5999, "compression error code"},
    {6000, 6999, "multicast error code"},
    {7000, 7999, "broker error code"},
    {8000, 8999, "rpc error code"},
    {9000, 9999, "security error code"},
    {10000, 10499, "screen sharing error code"},
    {10500, 10999, "windows security error code"},
    {11000, 11999, "voip error code"},
    {12000, 12499, "device error code"},
    {12500, 12999, "component connection error code"},
};

/// Filled during start-up, only read afterwards; never destroyed, as failures are reported until the very
/// end.
std::vector<ZRResult::NameProvider>& nameProviders() {
  static auto& providers = *std::make_unique<std::vector<ZRResult::NameProvider>>().release();
  return providers;
}

const char* builtInName(std::uint32_t code) {
  const auto found =
      std::lower_bound(std::begin(kNamedCodes), std::end(kNamedCodes), code,
                       [](const NamedCode& named, std::uint32_t value) { return named.code < value; });
  return found != std::end(kNamedCodes) && found->code == code ? found->name : nullptr;
}

const char* providedName(std::uint32_t code) {
  for (const ZRResult::NameProvider provider : nameProviders()) {
    if (const char* name = provider(code)) return name;
  }
  return nullptr;
}

const char* rangeText(std::uint32_t code) {
  for (const CodeRange& range : kRanges) {
    if (code >= range.first && code <= range.last) return range.text;
  }
  return "unrecognized error code";
}

}  // namespace

const char* ZRResult::codeName(std::uint32_t code) {
  if (const char* name = builtInName(code)) return name;
  if (const char* name = providedName(code)) return name;
  return rangeText(code);
}

void ZRResult::registerNameProvider(NameProvider provider) {
  nameProviders().push_back(provider);
}
