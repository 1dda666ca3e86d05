# shellcheck shell=bash
# Sourced by the commands of tools/: installs the Debian packages they need.

# What it takes to configure and build the px64 preset, and to make and judge clips.
px64_packages=(g++ cmake ninja-build pkg-config python3 googletest libbenchmark-dev libcli11-dev libpng-dev nettle-dev
    libavformat-dev libavcodec-dev libavutil-dev ffmpeg)

# need_packages PKG...: installs those of the packages that are missing, or says in one line which they are and
# fails. Where there is no dpkg the packages are taken to be there.
need_packages() {
    local package as_root=() missing=()
    command -v dpkg-query >/dev/null || return 0
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == "install ok installed" ]] ||
            missing+=("$package")
    done
    ((${#missing[@]})) || return 0

    if ((EUID != 0)); then
        # sudo may ask for a password only where somebody can type it.
        if ! command -v sudo >/dev/null || ! { [[ -t 0 ]] || sudo -n true 2>/dev/null; }; then
            echo "Please install these packages first: ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    as_root+=(env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0)
    echo "Installing ${missing[*]}" >&2
    if ! { "${as_root[@]}" update && "${as_root[@]}" install -y --no-install-recommends "${missing[@]}"; } >&2; then
        echo "Could not install them; please install these packages: ${missing[*]}" >&2
        return 1
    fi
}
