# Shared by ./run, ./test and ./bench: messages, package installation, builds. Sourced, not run.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

# What each kind of work needs on Debian 12.
declare -A packages=(
  [build]="g++ cmake ninja-build pkg-config libgtk-4-dev libpulse-dev libsodium-dev nlohmann-json3-dev
    libsoup-3.0-dev glib-networking libsqlite3-dev python3 openssl curl
    googletest libbenchmark-dev libspeexdsp-dev"
  [sound]="pulseaudio pulseaudio-utils espeak-ng sox"
  [window]="fonts-dejavu-core fonts-noto-color-emoji adwaita-icon-theme librsvg2-common"
  [display]="xvfb xauth openbox xdotool wmctrl imagemagick fonts-dejavu-core fonts-noto-color-emoji
    adwaita-icon-theme librsvg2-common"
  [screen]="tesseract-ocr tesseract-ocr-spa"
  [windows]="g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine64 wine xz-utils"
  [fuzz]="clang-14 libclang-rt-14-dev"
  [lint]="clang-format-14 clang-tidy-14 shellcheck git"
)

# On standard error: what a program prints goes to standard output alone.
say() { printf '== %s\n' "$*" >&2; }

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# need KIND...: installs what these kinds of work lack, as root or with sudo.
need() {
  local missing=() kind package
  for kind in "$@"; do
    for package in ${packages[$kind]}; do
      dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
        missing+=("$package")
    done
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing ${missing[*]} (a few minutes at the first time)"
  as_root apt-get update -q >/dev/null || die "cannot read the package lists"
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}" >/dev/null ||
    die "cannot install ${missing[*]}"
}

# build PRESET [TARGET...]: configures and builds in build/PRESET; who asks at the same time waits.
build() {
  local preset=$1
  shift
  mkdir -p "$root/build"
  local log=$root/build/$preset.log
  say "Building $preset (a few minutes at the first time, seconds later; as it goes: build/$preset.log)"
  (
    cd "$root" && flock 9 || exit 1
    cmake --preset "$preset" >"$log" 2>&1 9>&- &&
      cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"} >>"$log" 2>&1 9>&-
  ) 9>"$root/build/$preset.lock" || {
    grep -E -A 8 'error|Error|FAILED' "$log" | head -60 >&2
    die "the build of $preset failed; all of it is in $log"
  }
}

# find_sysroot: sets VELMO_SYSROOT to an unpacked GTK for Windows: the one it names already, the cache's, one
# unpacked from a finished archive, or a new one.
find_sysroot() {
  if [ -n "${VELMO_SYSROOT-}" ]; then
    [ -d "$VELMO_SYSROOT/lib/pkgconfig" ] || die "VELMO_SYSROOT=$VELMO_SYSROOT holds no sysroot"
    export VELMO_SYSROOT
    return
  fi
  local cache=${VELMO_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velmo} name=velmo-win64-gtk418
  local archive=$root/../shared/windows/gtk4-win64-sysroot.tar.xz
  export VELMO_SYSROOT=$cache/$name
  mkdir -p "$cache" || die "$cache cannot be made"
  (
    flock 9 || exit 1
    [ ! -e "$VELMO_SYSROOT/.relocated" ] || exit 0
    if [ -e "$archive" ]; then
      say "Unpacking GTK for Windows"
      tar -xJf "$archive" -C "$cache" 9>&- || exit 1
    else
      say "Building GTK for Windows from its sources (about 22 minutes, once)"
      as_root env HOME="$HOME" PREFIX="$VELMO_SYSROOT" WORK="$cache/sysroot-work" \
        "$root/packaging/windows/build-sysroot" 9>&- || exit 1
    fi
    # The script writes the manifest last, and an archive that ends early is tar's to tell.
    [ -s "$VELMO_SYSROOT/MANIFEST" ] || exit 1
    # Wherever it was built, it works where it lies.
    local as_owner=
    [ -O "$VELMO_SYSROOT" ] || as_owner=as_root
    $as_owner sed -i -E "s|/[^ ]*/$name|\${pcfiledir}/../..|g" "$VELMO_SYSROOT"/lib/pkgconfig/*.pc &&
      $as_owner touch "$VELMO_SYSROOT/.relocated"
  ) 9>"$cache/sysroot.lock" || die "there is no GTK for Windows in $VELMO_SYSROOT"
}

# plays_windows ARGUMENT...: whether they bring the Windows program into a voice room or a hub.
plays_windows() {
  [[ " $* " =~ \ (--all\ |--(peers|clients)\ +[a-z,+]*wine) ]]
}

# build_windows_client: lays it out in build/velmo-windows, with all it takes.
build_windows_client() {
  need display windows
  find_sysroot
  build windows velmo velmo-peer
  "$root/scripts/windows-stage" "$root/build/windows" "$root/build/velmo-windows" >&2 || die "it cannot be laid out"
}

# build_windows_peer: and what it takes to run it.
build_windows_peer() {
  need display windows
  find_sysroot
  build windows velmo-peer
}

# run_ctest PRESET [CTEST-ARGUMENT...]: runs a built suite, its tests side by side; what fails says so, no more.
run_ctest() {
  local preset=$1
  shift
  (cd "$root" && GTEST_BRIEF=1 ctest --test-dir "build/$preset" --output-on-failure --no-tests=error -j "$((jobs * 2))" "$@")
}
