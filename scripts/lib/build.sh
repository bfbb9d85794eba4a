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

# build FOLDER WHAT [TARGET...]: builds the targets, or everything, and shows progress; WHAT names them in messages. On failure
# prints the compiler's output and returns false.
build() {
  local folder=$1 what=$2 steps
  shift 2
  steps=$(ninja -C "$folder" -n "$@" 2>/dev/null | grep -c '^\[' || true)
  [ "$steps" -gt 0 ] || return 0
  say "Building $what$(expected_duration "$steps")…"
  if NINJA_STATUS='[%f/%t] ' ninja -C "$folder" "$@" 2>&1 | tee "$folder/build.log" | show_progress; then return; fi
  grep -v '^\[[0-9]*/[0-9]*\] ' "$folder/build.log" >&2 || true
  say "scripts/$(basename "$0"): building $what failed; the compiler's output is above."
  return 1
}

# expected_duration STEPS: prints an estimate such as ", which takes about 2 minutes"; nothing for short builds.
expected_duration() {
  local seconds_per_step=4 minutes
  minutes=$((($1 * seconds_per_step / $(getconf _NPROCESSORS_ONLN) + 30) / 60))
  if [ "$minutes" -gt 1 ]; then
    printf ', which takes about %d minutes' "$minutes"
  elif [ "$minutes" -eq 1 ]; then
    printf ', which takes about a minute'
  fi
}

# Reduces ninja's output to "[ 57/216]": updated in place on a terminal, else a line about every ten percent.
show_progress() {
  local line done_steps all shown=0
  while IFS= read -r line; do
    [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
    done_steps=${BASH_REMATCH[1]} all=${BASH_REMATCH[2]}
    if [ -t 2 ]; then
      printf '\r[%*d/%d]' "${#all}" "$done_steps" "$all" >&2
    elif [ $((done_steps * 10 / all)) -gt "$shown" ]; then
      shown=$((done_steps * 10 / all))
      printf '[%*d/%d]\n' "${#all}" "$done_steps" "$all" >&2
    fi
  done
  if [ -t 2 ]; then printf '\r\033[K' >&2; fi
}
