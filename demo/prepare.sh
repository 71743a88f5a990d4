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

# prepare_product TREE OUT: the programs as they are, the rest as copies to write to.
prepare_product() {
    mkdir -p "$2/product" "$2/var/log/vardo" "$2/var/quarantine/vardo" "$2/var/lib"
    cp -rL "$1/." "$2/product/"
    cp -rL /var/Quillstone/var/lib/signatures "$2/var/lib/" 2>/dev/null || mkdir -p "$2/var/lib/signatures"
    rm -f "$2/product/etc/vardo/.quarantined" "$2/product/etc/vardo/.lastScan" "$2/product/var/run/"*
    : >"$2/product/etc/vardo/.quarantined"
}
