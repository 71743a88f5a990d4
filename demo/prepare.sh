# Sourced by demo: the home and the product's tree that the demonstration runs on.

# The standard anti-virus test file, put together here so that no copy of the project is one.
test_file() {
    printf '%s%s' 'X5O!P%@AP[4\PZX54(P^)7CC)7}$EICAR' '-STANDARD-ANTIVIRUS-TEST-FILE!$H+H*'
}

# prepare_home FOLDER: ordinary files, the test file, and the test file in a zip inside a zip.
prepare_home() {
    mkdir -p "$1/Documents" "$1/Downloads" "$1/Music"
    echo 'Dear reader,' >"$1/Documents/letter.txt"
    cp -r /usr/share/common-licenses "$1/Documents/licences"
    # Enough files that the scan can be watched.
    cp -r /usr/include "$1/Documents/headers"
    test_file >"$1/Downloads/invoice.com"
    (
        cd "$1/Music"
        test_file >song.com
        zip -q inner.zip song.com
        zip -q songs.zip inner.zip
        rm song.com inner.zip
    )
}

# prepare_product TREE SIGNATURES OUT: copies of everything below the product's tree that is written to.
prepare_product() {
    mkdir -p "$3/run" "$3/var/log/vardo" "$3/var/quarantine/vardo" "$3/var/lib"
    cp -rL "$2" "$3/var/lib/signatures"
    cp -rL "$1/etc" "$3/etc"
    cp -rL "$1/share/templates/." "$3/etc"
    rm -f "$3/etc/vardo/.lastScan"
    : >"$3/etc/vardo/.quarantined"
}

# bind_all FOLDER LEAVE-OUT...: arguments that show the entries of FOLDER as they are, but for some.
bind_all() {
    local entry left_out=" ${*:2} "
    for entry in "$1"/*; do
        case $left_out in *" $entry "*) continue ;; esac
        if [ -L "$entry" ]; then
            arguments+=(--symlink "$(readlink "$entry")" "$entry")
        elif [ -d "$entry" ]; then
            arguments+=(--dev-bind "$entry" "$entry")
        fi
    done
}

# sandbox TREE OUT COMMAND: runs COMMAND where the product's tree and the home are the prepared ones.
sandbox() {
    local home arguments=(--unshare-pid --die-with-parent --perms 0755 --dir /var --perms 0755 --dir /opt)
    home=$(getent passwd "$(id -u)" | cut -d: -f6)
    bind_all '' /opt /var /proc
    bind_all /var /var/Quillstone
    exec bwrap "${arguments[@]}" --proc /proc --ro-bind "$1" /opt/Quillstone \
        --bind "$2/etc" /opt/Quillstone/etc --bind "$2/run" /opt/Quillstone/var/run \
        --bind "$2/var" /var/Quillstone/var --bind "$2/home" "$home" "${@:3}"
}
