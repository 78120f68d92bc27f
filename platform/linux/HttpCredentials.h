#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A user's name and password for a server.
struct HttpCredentials {
  std::string userName;
  std::string password;
};

/// Whether the "default" entry of a .netrc file, which is for any host, may be used.
enum class DefaultEntry { counts, ignored };

/// The credentials for `host` that the user has stored in ~/.netrc, whose format is that of ftp(1), with
/// values in quotes besides: the first entry that is for the host and has a name. None when there is no such
/// entry, the file is malformed, or it is not a readable regular file of at most 1 MiB; never waits for it (a
/// pipe).
[[nodiscard]] std::optional<HttpCredentials> storedCredentials(std::string_view host,
                                                               DefaultEntry defaultEntry);

/// The same for the text of such a file.
[[nodiscard]] std::optional<HttpCredentials> findCredentials(std::string_view netrc, std::string_view host,
                                                             DefaultEntry defaultEntry);

}  // namespace platform
