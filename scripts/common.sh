# What the scripts share; sourced by them. Sets ROOT and moves there.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"

# Debian packages for building, testing and running
PACKAGES=(
    ca-certificates ccache clang-format cmake curl g++ git iproute2 libasio-dev libavahi-core-dev libbenchmark-dev libcrypt-dev
    libcurl4-openssl-dev libfmt-dev libgmock-dev libgrpc++-dev libgtest-dev libjsoncpp-dev libmicrohttpd-dev
    libmodbus-dev libprotobuf-dev libspdlog-dev libwebsocketpp-dev libwolfssl-dev mold ninja-build pkg-config procps protobuf-compiler protobuf-compiler-grpc python3-minimal
)

# What the tests need besides
TEST_PACKAGES=(avahi-daemon chromium chromium-driver nginx node-ws nodejs python3-selenium python3-websockets)

# ccache must see the paths as they are: it would hand out objects whose log lines show another path
unset CCACHE_BASEDIR

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# install_missing PACKAGE...: installs those that are missing.
install_missing() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} = 0 ] && return
    echo "Installing ${missing[*]}"
    as_root apt-get update -q
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
}

# build PRESET [TARGET...]
build() {
    local preset=$1 target targets=()
    shift
    for target in "$@"; do targets+=(--target "$target"); done
    cmake --preset "$preset" >"build/$preset.log" 2>&1 || { cat "build/$preset.log" >&2; return 1; }
    cmake --build --preset "$preset" "${targets[@]}"
}
mkdir -p build
