# Sourced by demo: a virtual screen, and hands and eyes for it.

start_screen() {
    local number
    coproc screen { exec Xvfb -displayfd 1 -screen 0 "${1}x24" -nolisten tcp 2>/dev/null; }
    read -r number <&"${screen[0]}"
    export DISPLAY=:$number
    # shellcheck disable=SC2154  # coproc sets it
    trap 'kill "$screen_PID" "${program:-}" 2>/dev/null || true' EXIT
}

# find_window WIDTH [HEIGHT]: every window of the product has the same name, so they are told apart by size.
find_window() {
    local id geometry
    for id in $(xdotool search --onlyvisible --name '^Vardo$' 2>/dev/null); do
        # A window may go between the two questions.
        geometry=$(xdotool getwindowgeometry --shell "$id" 2>/dev/null) || continue
        case $geometry in
            *WIDTH=$1*HEIGHT=${2:-}*)
                echo "$id"
                return 0
                ;;
        esac
    done
    return 1
}

die() {
    echo "demo: $*" >&2
    picture "${out:?}/failed.png" || true
    exit 1
}

# wait_window WIDTH HEIGHT: later presses go to that window.
wait_window() {
    local tries=0
    until window=$(find_window "$1" "$2"); do
        kill -0 "${program:?}" 2>/dev/null || die 'the window closed unexpectedly'
        [ $((tries += 1)) -lt 600 ] || die "no window of $1 by $2 appeared"
        sleep 0.1
    done
    sleep 0.3
}

# answer_age: says no when the start asks about an update or tells that only root may: signatures that came with
# the product grow old, and the demonstration needs no network.
answer_age() {
    local id geometry width height
    until find_window 724 564 >/dev/null; do
        kill -0 "${program:?}" 2>/dev/null || die 'the window closed unexpectedly'
        sleep 0.3
        for id in $(xdotool search --onlyvisible --name '^Vardo$' 2>/dev/null); do
            geometry=$(xdotool getwindowgeometry --shell "$id" 2>/dev/null) || continue
            width=$(sed -n 's/^WIDTH=//p' <<<"$geometry")
            height=$(sed -n 's/^HEIGHT=//p' <<<"$geometry")
            case $width in
                724 | 400) continue ;; # the window, and the scan of the memory
            esac
            window=$id
            if [ "$(id -u)" -eq 0 ]; then
                xdotool key alt+n
            else
                press $((width / 2)) $((height - 30))
            fi
        done
    done
}

wait_no_window() {
    local tries=0
    while find_window "$1" >/dev/null; do
        [ $((tries += 1)) -lt 200 ] || die "the window of width $1 stayed"
        sleep 0.1
    done
}

wait_for_file() {
    local tries=0
    until [ -s "$1" ]; do
        [ $((tries += 1)) -lt $(($2 * 10)) ] || die "$1 did not appear"
        sleep 0.1
    done
}

# press X Y: a click at that place of the window last waited for.
press() {
    xdotool mousemove --window "$window" "$1" "$2"
    sleep 0.2
    xdotool click 1
}

picture() {
    sleep 0.4
    import -window root "$1"
    echo "  $1"
}

# check_outcome OUT CODE
check_outcome() {
    [ "$2" -eq 0 ] || die "the window ended with code $2"
    [ -s "$1/var/quarantine/vardo/invoice.com" ] || die 'the test file is not in quarantine'
    [ ! -e "$1/home/Downloads/invoice.com" ] || die 'the test file is still in its place'
    [ ! -e "$1/home/Music/songs.zip" ] || die 'the archive with the test file is still in its place'
    grep -q '^invoice.com~#^|~' "$1/etc/vardo/.quarantined" || die 'the quarantine has no record of it'
    echo 'The test file was found and quarantined.'
}
