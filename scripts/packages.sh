# shellcheck shell=bash disable=SC2034
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# The Debian packages that the program needs, and a function that installs what is missing.
# Sourced by run, test and .ci/run.

LARKSPIN_BUILD_PACKAGES=(
    ca-certificates g++ cmake ninja-build pkg-config
    qt6-base-dev librsvg2-bin
    libmad0-dev libvorbis-dev libflac-dev libsndfile1-dev libsoxr-dev
    libavformat-dev libavcodec-dev libavutil-dev libswresample-dev
    libloki-dev libboost-dev libxxhash-dev
)

# A display and a message bus of our own where the desktop has none, and the readers that list a
# finished disc.
LARKSPIN_RUN_PACKAGES=(
    xvfb xauth dbus dbus-x11 xdotool trayer imagemagick fonts-dejavu-core
    xorriso libcdio-utils libarchive-tools sox
)

# Independent programs that check results, and what the checks are built with.
LARKSPIN_TEST_PACKAGES=(
    libgtest-dev libgmock-dev libbenchmark-dev
    cdrskin p7zip-full udftools ffmpeg libsox-fmt-all flac vorbis-tools lame
    dvdauthor lsdvd qemu-system-x86 isolinux syslinux-common procps
    weston qt6-wayland
)

# What scripts/real-kernel runs: an emulator, and in it what a desktop's system has.
LARKSPIN_KERNEL_PACKAGES=(
    qemu-system-x86 busybox-static cpio kmod udev udisks2 polkitd dbus xvfb xdotool
    cdrskin xorriso cdparanoia libcdio-utils tgt open-iscsi eject openssl
)

LARKSPIN_FUZZ_PACKAGES=(clang libclang-rt-dev)

LARKSPIN_LINT_PACKAGES=(clang-format clang-tidy shellcheck git reuse)

# install_packages NAME...: installs the missing ones; explains and fails where it can't.
install_packages() {
    local missing=() name
    for name in "$@"; do
        if [[ $(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null) != installed ]]; then
            missing+=("$name")
        fi
    done
    if ((${#missing[@]} == 0)); then
        return 0
    fi
    if ! command -v apt-get >/dev/null; then
        echo "These Debian packages are needed, and there is no apt-get to install them:" >&2
        echo "  ${missing[*]}" >&2
        return 1
    fi
    local as_root=()
    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null; then
            echo "These Debian packages are needed; please install them as root:" >&2
            echo "  apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "Installing ${#missing[@]} Debian packages: ${missing[*]}"
    if ! "${as_root[@]}" apt-get update -qq ||
        ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null; then
        echo "The packages could not be installed. Is the network up, and are you allowed to?" >&2
        return 1
    fi
}

# configure PRESET [CMAKE-OPTION...]
configure() {
    if [[ -z ${CMAKE_CXX_COMPILER_LAUNCHER:-} ]] && command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    fi
    local output
    output=$(cmake --preset "$@" 2>&1) || {
        echo "$output" >&2
        return 1
    }
}

# build PRESET [TARGET...]: all targets without any.
build() {
    cmake --build --preset "$1" ${2:+--target} "${@:2}"
}
