# shellcheck shell=bash
# Configures and builds: fast when up to date, silent unless something fails. Sourced after install.sh; requires $root, the
# folder of the repository.
: "${root:?}"

# configure FOLDER PRESET [NAME=VALUE...]: sets the values in CMake's cache. Does nothing if they are set already, since Ninja
# detects a changed CMakeLists.txt.
configure() {
  local folder=$1 preset=$2
  shift 2
  is_configured "$folder" "$@" && return
  choose_compiler
  local definitions=() setting
  for setting in "$@"; do definitions+=("-D$setting"); done
  # CMake refuses the cache of a tree that was copied or moved.
  if [ -f "$folder/CMakeCache.txt" ] && ! names_this_tree "$folder"; then
    rm -rf "$folder/CMakeCache.txt" "$folder/CMakeFiles"
  fi
  mkdir -p "$folder"
  rm -f "$folder/.configured"
  if ! (cd "$root" && cmake --preset "$preset" -B "$folder" ${definitions[@]+"${definitions[@]}"}) \
    >"$folder/configure.log" 2>&1; then
    cat "$folder/configure.log" >&2
    fail "CMake could not configure $folder; its output is above."
  fi
  touch "$folder/.configured"
}

is_configured() {
  local folder=$1 setting
  shift
  [ -f "$folder/build.ninja" ] && [ -f "$folder/.configured" ] || return 1
  [ ! "$root/CMakePresets.json" -nt "$folder/.configured" ] || return 1
  names_this_tree "$folder" || return 1
  for setting in "$@"; do
    # The cache holds NAME:TYPE=VALUE.
    grep -q "^${setting%%=*}:[A-Z]*=${setting#*=}\$" "$folder/CMakeCache.txt" || return 1
  done
}

names_this_tree() { grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$1/CMakeCache.txt"; }

# build FOLDER WHAT [TARGET...]: builds everything without a target; WHAT names it in messages. On failure prints the compiler's
# output and returns false.
build() {
  local folder=$1 what=$2
  shift 2
  case $(ninja -C "$folder" -n "$@" 2>&1) in *"no work to do"*) return ;; esac
  say "Building $what…"
  local arguments=(--build "$folder")
  [ $# -eq 0 ] || arguments+=(--target "$@")
  cmake "${arguments[@]}" >"$folder/build.log" 2>&1 && return
  grep -v '^\[[0-9]*/[0-9]*\] ' "$folder/build.log" >&2 || true
  say "scripts/$(basename "$0"): building $what failed; the compiler's output is above."
  return 1
}
