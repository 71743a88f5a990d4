# Sourced by ./run and ./test: installs through apt what is missing, with sudo when not root.

packages_build='g++ cmake ninja-build pkg-config qt6-base-dev qt6-svg-dev libclamav-dev libssl-dev
    libcurl4-openssl-dev libseccomp-dev libarchive-dev libsquashfs-dev zlib1g-dev libsystemd-dev libgif-dev
    libx11-dev libxcb-shape0-dev linux-libc-dev python3 librsvg2-bin'
packages_package='dpkg-dev file'
packages_display='xvfb xdotool imagemagick bubblewrap fonts-dejavu-core zip'
packages_test='git openbox uidmap clang-14 libclang-rt-14-dev clang-format-14 clamav-testfiles zip p7zip-full man-db procps
    cron e2fsprogs faketime openssl dbus-daemon dbus-bin python3-dbusmock adduser locales zstd lz4 squashfs-tools'
# What bench/containers packs with.
packages_containers='clamav arj binutils bzip2 cpio dosfstools e2fsprogs fdisk gcab genisoimage imagemagick libarchive-tools lrzip lz4 lzip
    lzop mtools ncompress p7zip-full python3 qemu-utils qpdf rpm squashfs-tools wimtools wixl xz-utils zip zpaq zstd'

# give_up TEXT: ends the script with one line about what is missing.
give_up() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# install_packages ARGUMENT...: apt-get install with these; only what the product's own scripts say is shown, or,
# when it fails, why.
install_packages() {
    said=$(mktemp)
    if as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install "$@" >"$said" 2>&1; then
        grep '^vardo:' "$said" || true
        rm "$said"
    elif grep -Eq 'resolving|not resolve|not connect|unreachable|Failed to fetch' "$said"; then
        give_up "no network: cannot download what is to be installed (what apt said is in $said)"
    elif grep -q '^sudo:' "$said"; then
        give_up "sudo is not allowed: have root install what is missing"
    else
        give_up "cannot install: $(grep '^E:' "$said" | head -n 1) (what apt said is in $said)"
    fi
}

# need_packages PACKAGE...
need_packages() {
    missing=
    for package in "$@"; do
        case $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) in
            installed) ;;
            *) missing="$missing $package" ;;
        esac
    done
    [ -n "$missing" ] || return 0
    command -v apt-get >/dev/null || give_up "no apt: this takes Debian 12, or a system made of it. Missing:$missing"
    [ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null ||
        give_up "no sudo: have root install what is missing, by apt install$missing"
    echo "Installing:$missing"
    as_root apt-get -qq update >/dev/null 2>&1 || true # the next one tells what is wrong
    # shellcheck disable=SC2086  # a list of words
    install_packages $missing
}

# The sandboxes of tests and demonstration take namespaces, and, for an ordinary user, other ids in them.
need_namespaces() {
    bwrap --dev-bind / / true 2>/dev/null ||
        give_up 'no user namespaces: take a machine or container where they are allowed, and no plain chroot'
    [ "$(id -u)" -eq 0 ] || unshare --user --map-root-user --map-auto true 2>/dev/null ||
        give_up "no subordinate ids: have root give $(id -un) a range of them in /etc/subuid and /etc/subgid"
}
