# Installs, with apt, whatever of the build's packages is missing.
# Sourced by build.sh and test.sh.
ANVIL_PACKAGES="cmake ninja-build g++ clang libclang-rt-14-dev
  g++-arm-linux-gnueabihf qemu-user googletest libgtest-dev gcovr libbenchmark-dev
  libck-dev libinih-dev libiniparser-dev libglib2.0-dev libxxhash-dev strace
  pkgconf dpkg-dev file abigail-tools python3 groff-base man-db clang-tidy cppcheck"

anvil_install_deps() {
  missing=""
  for p in $ANVIL_PACKAGES; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' ||
      missing="$missing $p"
  done
  [ -z "$missing" ] && return 0
  echo "installing:$missing"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y $missing
}

# Configures and builds one tree: anvil_build DIR [cmake options...]
# Options given also apply to a tree configured before.
anvil_build() {
  dir=$1
  shift
  if [ ! -f "$dir/CMakeCache.txt" ]; then
    cmake -S . -B "$dir" -G Ninja "$@"
  elif [ $# -gt 0 ]; then
    cmake -S . -B "$dir" "$@" > /dev/null
  fi
  cmake --build "$dir"
}
