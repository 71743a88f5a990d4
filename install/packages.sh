# Sourced by ./run and ./test: installs through apt what is missing, with sudo when not root.

packages_build='g++ cmake ninja-build pkg-config qt6-base-dev qt6-svg-dev libclamav-dev libssl-dev
    libcurl4-openssl-dev libseccomp-dev zlib1g-dev libsystemd-dev libgif-dev libx11-dev linux-libc-dev python3 librsvg2-bin'
packages_package='dpkg-dev file'
packages_display='xvfb xdotool imagemagick bubblewrap fonts-dejavu-core zip'
packages_test='git openbox uidmap clang-14 libclang-rt-14-dev clang-format-14 clamav-testfiles zip p7zip-full man-db procps
    cron faketime openssl dbus-daemon dbus-bin python3-dbusmock adduser locales'

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
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
    echo "Installing:$missing"
    as_root apt-get -qq update
    # shellcheck disable=SC2086  # a list of words
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install $missing >/dev/null
}
