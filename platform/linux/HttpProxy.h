#pragma once

#include <optional>

#include "platform/linux/HttpMessage.h"

namespace platform {

/// The proxy that the environment names for a URL, by the rules of the network library: `https_proxy` or
/// `HTTPS_PROXY`, for http only `http_proxy`, else `all_proxy` or `ALL_PROXY`; without a scheme it is http,
/// without a port 1080 (443 for https). None when there is none, or its text is no address. `no_proxy` is not
/// looked at: asked is this about a proxy that has answered.
[[nodiscard]] std::optional<HttpSender> proxyFor(const Url& url);

}  // namespace platform
