# shellcheck shell=bash
# Which Debian packages are needed for what, and how they get onto the machine. Read by ./dev and .ci/run.

packages_to_build=(build-essential cmake ninja-build qt6-base-dev rapidjson-dev libcli11-dev)
packages_to_test=(python3 python3-jsonschema)
packages_to_lint=(clang clang-tidy clang-format libclang-rt-dev)
packages_for_qt5=(qtbase5-dev)

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
