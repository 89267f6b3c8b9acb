# What a fresh Debian machine lacks, and how the presets are built. Sourced by ./run and ./test.

build_packages=(g++ cmake ninja-build pkg-config ccache
  libfluidsynth-dev timgm6mb-soundfont libsmf-dev libsndfile1-dev libasound2-dev libjack-jackd2-dev
  libcairo2-dev libpango1.0-dev libxcb1-dev libxcb-shm0-dev libxcb-randr0-dev libxcb-xkb-dev
  libxcb-cursor-dev libxcb-imdkit-dev libxkbcommon-dev libxkbcommon-x11-dev)
test_packages=(libgtest-dev libgmock-dev libbenchmark-dev libglib2.0-dev jackd2 clang-14
  libclang-rt-14-dev clang-format python3 libxml2-dev libexpat1-dev libpugixml-dev
  xvfb openbox fonts-dejavu-core libxcb-xtest0-dev dbus xdotool x11-apps x11-utils)

# install_packages NAME...: installs those that are missing; says what can't be.
install_packages() {
  local missing=() name
  command -v dpkg-query >/dev/null || return 0
  for name in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local root=()
  [ "$(id -u)" -eq 0 ] || root=(sudo)
  echo "Installing ${missing[*]}"
  "${root[@]}" apt-get update -qq &&
    DEBIAN_FRONTEND=noninteractive "${root[@]}" apt-get install -y -qq --no-install-recommends \
      "${missing[@]}" >/dev/null || {
    echo "These packages couldn't be installed: ${missing[*]}" >&2
    return 1
  }
}

# build PRESET [TARGET...]: configures when needed and builds.
build() {
  local preset=$1
  shift
  local log
  log=$(mktemp)
  cmake --preset "$preset" >"$log" 2>&1 || {
    cat "$log"
    rm -f "$log"
    return 1
  }
  rm -f "$log"
  cmake --build --preset "$preset" ${1:+--target "$@"}
}
