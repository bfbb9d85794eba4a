# shellcheck shell=bash
# Configures and builds, quickly when there is nothing to do and quietly unless something fails. Sourced after install.sh;
# needs $root, the folder of the repository.
: "${root:?}"

# configure FOLDER PRESET [NAME=VALUE...]: the values stand in CMake's cache afterwards. Does nothing when they stand there
# already, since Ninja notices a changed CMakeLists.txt by itself.
configure() {
  local folder=$1 preset=$2
  shift 2
  is_configured "$folder" "$@" && return
  choose_compiler
  local definitions=() setting
  for setting in "$@"; do definitions+=("-D$setting"); done
  # CMake refuses a cache that came along when the tree was copied or moved.
  if [ -f "$folder/CMakeCache.txt" ] && ! names_this_tree "$folder"; then
    rm -rf "$folder/CMakeCache.txt" "$folder/CMakeFiles"
  fi
  mkdir -p "$folder"
  rm -f "$folder/.configured"
  if ! (cd "$root" && cmake --preset "$preset" -B "$folder" ${definitions[@]+"${definitions[@]}"}) \
    >"$folder/configure.log" 2>&1; then
    cat "$folder/configure.log" >&2
    fail "CMake could not configure $folder; what it said is above."
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

# build FOLDER WHAT [TARGET...]: WHAT is what people are told; without a target everything is built. False after a failure,
# when what the compiler said has been shown.
build() {
  local folder=$1 what=$2
  shift 2
  case $(ninja -C "$folder" -n "$@" 2>&1) in *"no work to do"*) return ;; esac
  say "Building $what…"
  local arguments=(--build "$folder")
  [ $# -eq 0 ] || arguments+=(--target "$@")
  cmake "${arguments[@]}" >"$folder/build.log" 2>&1 && return
  grep -v '^\[[0-9]*/[0-9]*\] ' "$folder/build.log" >&2 || true
  say "scripts/$(basename "$0"): building $what failed; what the compiler said is above."
  return 1
}
