# shellcheck shell=bash
# Installs missing tools and libraries from the system's packages: apt on Debian and Ubuntu, Homebrew on macOS (untested).
# Sourced by the scripts; bash 3.2 and later. Never prints to standard output, which belongs to the program that a script runs.

say() { printf '%s\n' "$*" >&2; }

fail() {
  say "scripts/$(basename "$0"): $*"
  exit 1
}

# Installs what is missing for building; with "test", "bench" or "lint" also what those scripts need.
install_needs() {
  local purpose=${1:-build}
  if command -v dpkg-query >/dev/null && command -v apt-get >/dev/null; then
    local packages=(cmake ninja-build g++ pkg-config git nlohmann-json3-dev libfmt-dev libcli11-dev libgtest-dev
                    libssl-dev zlib1g-dev libncurses-dev libvterm-dev)
    [ "$purpose" = test ] && packages+=(ccache clang-format trash-cli gobjc++ libgnustep-base-dev npm)
    [ "$purpose" = bench ] && packages+=(libbenchmark-dev)
    [ "$purpose" = lint ] && packages+=(clang-tidy)
    install_with_apt "${packages[@]}"
  elif [ "$(uname -s)" = Darwin ]; then
    local formulae=(cmake ninja nlohmann-json fmt cli11 googletest libvterm openssl@3 ccache)
    [ "$purpose" = test ] && formulae+=(clang-format)
    [ "$purpose" = bench ] && formulae+=(google-benchmark)
    [ "$purpose" = lint ] && formulae+=(llvm)
    install_with_brew "${formulae[@]}"
  else
    local tool
    for tool in cmake ninja c++ git; do
      command -v "$tool" >/dev/null || fail "$tool is missing, and this system has neither apt nor Homebrew; install cmake," \
        "ninja, git, a C++20 compiler, nlohmann-json, fmt, CLI11, OpenSSL, zlib, ncurses, libvterm and GoogleTest, then start this again."
    done
  fi
}

# Prints the command for which a package is needed, from any source; empty for a library.
tool_of() {
  case $1 in
    ninja-build) echo ninja ;;
    g++) echo c++ ;;
    trash-cli) echo trash-list ;;
    *-dev) ;;
    *) echo "$1" ;;
  esac
}

install_with_apt() {
  local installed package missing=()
  # shellcheck disable=SC2016  # dpkg-query expands the fields
  installed=" $(dpkg-query -W -f '${Package}:${db:Status-Status} ' "$@" 2>/dev/null || true)"
  for package in "$@"; do
    case $installed in *" $package:installed "*) continue ;; esac
    command -v "$(tool_of "$package")" >/dev/null || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] || apt_install "${missing[@]}"
}

apt_install() {
  [ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null ||
    fail "these packages are missing, and without sudo only root can install them: $*"
  say "Installing $*…"
  local log
  log=$(mktemp)
  # Refreshes the package lists only after a failure: that takes longer than most installations.
  if ! apt_get install --no-install-recommends "$@" >"$log" 2>&1 &&
    ! { apt_get update && apt_get install --no-install-recommends "$@"; } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    fail "apt-get could not install $*; its output is above."
  fi
  rm -f "$log"
}

apt_get() {
  local command=(env DEBIAN_FRONTEND=noninteractive apt-get -y -qq -o DPkg::Lock::Timeout=120 "$@")
  if [ "$(id -u)" -eq 0 ]; then
    "${command[@]}" </dev/null
  elif [ -t 2 ]; then
    sudo "${command[@]}" </dev/null
  else
    sudo -n "${command[@]}" </dev/null  # no terminal to type a password on
  fi
}

install_with_brew() {
  command -v brew >/dev/null || fail "Homebrew is missing; install it from https://brew.sh, then start this again."
  local prefix formula missing=()
  prefix=$(dirname "$(dirname "$(command -v brew)")")
  for formula in "$@"; do
    [ -e "$prefix/opt/$formula" ] || command -v "$formula" >/dev/null || missing+=("$formula")
  done
  export OPENSSL_ROOT_DIR="$prefix/opt/openssl@3"  # keg-only: not in the default search paths
  export CMAKE_PREFIX_PATH="$prefix${CMAKE_PREFIX_PATH:+:$CMAKE_PREFIX_PATH}"
  [ ${#missing[@]} -eq 0 ] && return
  say "Installing ${missing[*]}…"
  brew install --quiet "${missing[@]}" >&2 </dev/null || fail "brew could not install ${missing[*]}; its output is above."
}

# Returns true for GCC 12, Clang 14 and later.
is_recent_compiler() {
  local macros clang gcc
  macros=$("$1" -dM -E -x c++ /dev/null 2>/dev/null) || return 1
  clang=$(sed -n 's/^#define __clang_major__ //p' <<<"$macros")
  gcc=$(sed -n 's/^#define __GNUC__ //p' <<<"$macros")
  if [ -n "$clang" ]; then [ "$clang" -ge 14 ]; else [ "${gcc:-0}" -ge 12 ]; fi
}

# Keeps CMake's default compiler if recent enough, else exports CXX with one that is. A CXX set by the user takes precedence.
choose_compiler() {
  if [ -n "${CXX:-}" ]; then
    is_recent_compiler "${CXX%% *}" || fail "CXX is '$CXX', but Tidra needs GCC 12, Clang 14 or later."
    return
  fi
  is_recent_compiler c++ && return
  local candidate
  for candidate in g++ g++-15 g++-14 g++-13 g++-12 clang++; do
    if is_recent_compiler "$candidate"; then
      export CXX=$candidate
      return
    fi
  done
  command -v apt-get >/dev/null || fail "the C++ compiler is too old; Tidra needs GCC 12, Clang 14 or later."
  say "The C++ compiler is older than GCC 12 and Clang 14."
  apt_install g++-12
  export CXX=g++-12
}
