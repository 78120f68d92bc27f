# Sourced by ./run and ./test: installs, by name, the Debian packages that are not there yet.

is_installed() {
  dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed
}

# require_packages <name>...
require_packages() {
  local missing=() package
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0

  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "missing packages: ${missing[*]} (install them as root, or install sudo)" >&2
      return 1
    }
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}"
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

is_available() {
  [[ $(apt-cache policy "$1" 2>/dev/null) == *"Candidate: "[0-9]* ]]
}

# want_packages <name>...: those of them that this system's release has; for what can be done without
want_packages() {
  local package
  for package in "$@"; do
    is_available "$package" || continue
    require_packages "$package" || return 1
  done
}

# What the agent and its operator programs are built with and run with.
build_packages=(
  g++ cmake ninja-build libboost-dev libcurl4-openssl-dev libssl-dev libexpat1-dev libsqlite3-dev
  bsdiff tar gzip zip unzip ca-certificates
)
# What the tests need beside that.
test_packages=(libgtest-dev libgmock-dev clang clang-tidy git attr util-linux)
# What builds for macOS are made with. The package manager npm, which fetches their headers, may come from elsewhere.
macos_packages=(clang-16 lld-16 llvm-16 libc++-16-dev)
# The one version that decides how the sources are formatted: Debian 12 has it, Debian 13 does not.
formatter=clang-format-14
