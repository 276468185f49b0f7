# Sourced by the other scripts. Debian packages that the project is built, tested and checked with.

build_packages=(g++ cmake ninja-build libgtest-dev libgmock-dev libbenchmark-dev libfmt-dev nlohmann-json3-dev libcli11-dev
  libpcap-dev libjemalloc-dev libz3-dev python3)
check_packages=(pkg-config valgrind clang libclang-rt-14-dev clang-format clang-tidy help2man man-db dpkg-dev file)
package_packages=(pkg-config help2man man-db dpkg-dev file lintian)
fuzz_packages=(clang libclang-rt-14-dev llvm)
release_packages=(gcovr cppcheck)
compare_packages=(pkg-config libdpdk-dev nftables gnuplot-nox)

# require_packages PACKAGE...: installs through apt those that are missing, and says which. Without the right to install,
# prints the line that does it and exits with 2.
require_packages() {
  local package missing=() as_root=()
  for package in "$@"; do
    grep -qx installed <<<"$(dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null)" || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "Some packages are missing. As root, run: apt-get update && apt-get install -y ${missing[*]}" >&2
      exit 2
    fi
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# build_preset PRESET [TARGET...]: configures on first use, and builds.
build_preset() {
  local preset=$1 targets=()
  shift
  [ $# -gt 0 ] && targets=(--target "$@")
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" "${targets[@]}"
}

# step NAME COMMAND...: runs a command, and prints how long it took.
step() {
  local name=$1 started=$SECONDS
  shift
  echo "== $name"
  "$@"
  echo "== $name: $((SECONDS - started)) s"
}
