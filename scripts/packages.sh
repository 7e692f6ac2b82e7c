# shellcheck shell=bash disable=SC2034
# Sourced by the scripts run and test. Installs missing packages on Debian and its derivatives; elsewhere only lists
# them.

build_packages=(
    cmake ninja-build g++ pkg-config qtbase5-dev portaudio19-dev
    libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev libzimg-dev
)
test_packages=(
    ffmpeg libgtest-dev ccache mold
    xvfb xauth libgl1-mesa-dri
    pulseaudio pulseaudio-utils libasound2-plugins
    desktop-file-utils appstream mandoc zsh
    pybind11-dev python3-dev python3-numpy python3-pytest python3-mypy python3-distributed
)
clang_packages=(clang libclang-rt-dev llvm)

is_installed() {
    [[ $(dpkg-query -W -f='${db:Status-Status}\n' "$1" 2>/dev/null | head -n 1) == installed ]]
}

# need_packages NAME...: installs the missing ones.
need_packages() {
    local name missing=() as_root=()
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        echo "Not a Debian system; these packages, or their likes, are needed: $*" >&2
        return 0
    fi
    for name in "$@"; do
        is_installed "$name" || missing+=("$name")
    done
    ((${#missing[@]} > 0)) || return 0

    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null; then
            echo "Please install as root: apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}" >&2
    "${as_root[@]}" apt-get update -qq >&2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# use_ccache: uses ccache if present. ccache identifies precompiled headers by content, ignoring their time, and takes
# what a source includes from the compiler's list, which saves a run of the preprocessor. What Clang compiles with
# precompiled headers is not shared between checkouts, because CMake passes absolute paths of them.
use_ccache() {
    command -v ccache >/dev/null || return 0
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
    export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime CCACHE_DEPEND=1
}

# configure PRESET: prints output only on failure.
configure() {
    local log=build/$1.log
    use_ccache
    mkdir -p build
    if ! cmake --preset "$1" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        return 1
    fi
}

# build PRESET [TARGET...]: configures and builds; prints output only on failure.
build() {
    local preset=$1 target options=() log=build/$1.log
    configure "$preset"
    shift
    for target in "$@"; do
        options+=(--target "$target")
    done
    echo "Building $preset" >&2
    if ! cmake --build "build/$preset" -j "$(nproc)" "${options[@]}" >>"$log" 2>&1; then
        tail -n 60 "$log" >&2
        echo "The build of $preset failed; all of its output is in $log" >&2
        return 1
    fi
}
