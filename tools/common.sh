# shellcheck shell=bash
# What ./dev, .ci/run and the tools share: which Debian packages are needed for what and how they get onto the machine,
# and how a preset is built. The caller has set source_dir.

packages_to_build=(build-essential cmake ninja-build qt6-base-dev libcli11-dev libsqlite3-dev
    libxxhash-dev nettle-dev)
packages_to_test=(python3 python3-jsonschema sqlite3 pkg-config man-db mandoc appstream desktop-file-utils zsh fish jq
    parallel rapidjson-dev systemd)
packages_to_lint=(clang clang-tidy clang-format libclang-rt-dev)
packages_for_docs=(doxygen)
packages_for_clusters=(munge parallel slurm-client slurmctld slurmd)
packages_to_package=(chrpath debhelper doxygen dpkg-dev qt6-svg-dev lintian python3)
packages_for_qt5=(qtbase5-dev libqt5svg5-dev)
# qt6-base-dev and qtbase5-dev have Gui and Widgets, with a platform that needs no screen; Svg and a font come on their
# own.
packages_for_viewer=(qt6-base-dev qt6-svg-dev fonts-dejavu-core)
packages_for_x_server=(xauth xvfb)

# need_packages PACKAGE...: makes sure that they are installed; says what to install where that is not allowed.
need_packages() {
    local package
    local -a missing=()
    if ! command -v dpkg-query >/dev/null; then
        return 0 # not a Debian: the build says what it does not find
    fi
    local -r installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || true)
    for package in "$@"; do
        grep -qx "installed $package" <<<"$installed" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    local -a as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        # -n: a password is not asked for.
        as_root=(sudo -n)
        if ! command -v sudo >/dev/null || ! sudo -n true 2>/dev/null; then
            echo "dev: these packages are missing; install them with" >&2
            echo "    sudo apt-get install ${missing[*]}" >&2
            return 1
        fi
    fi
    echo "dev: installing ${missing[*]}" >&2
    {
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq \
            && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
                apt-get install -y -qq --no-install-recommends "${missing[@]}"
    } >&2 </dev/null
}

# Calls "$@" with its output in the file $1; shows it only if that fails, so that nothing mixes with a program's output.
quietly() {
    local -r log=$1
    shift
    if ! "$@" >"$log" 2>&1 </dev/null; then
        grep -v '^\[[0-9]*/[0-9]*\] [^F]' "$log" | tail -n 60 >&2 || true
        echo "$(basename "$0"): this failed: $*" >&2
        echo "$(basename "$0"): its whole output is in $log" >&2
        return 1
    fi
}

# Configures build/PRESET where that was not done since the presets changed; ninja itself notices changed CMake files.
configure_preset() {
    local -r preset=$1 preset_dir="$source_dir/build/$1"
    mkdir -p "$preset_dir"
    if [ "$preset_dir/build.ninja" -nt "$source_dir/CMakePresets.json" ]; then
        return 0
    fi
    if command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    fi
    quietly "$preset_dir/configure.log" cmake -S "$source_dir" --preset "$preset"
}

# build_preset PRESET [TARGET...]
build_preset() {
    local -r preset=$1
    shift
    configure_preset "$preset" \
        && quietly "$source_dir/build/$preset/build.log" cmake --build "$source_dir/build/$preset" ${1:+--target "$@"}
}
