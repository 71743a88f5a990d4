# Sourced first by ./run. The sandbox of its demonstration needs a root folder that is a mount point, which that
# of a plain chroot is not: there the script runs once more, in a copy of the tree that is one.

if [ "$(id -u)" -eq 0 ] && ! mountpoint -q / && [ -z "${VARDO_MOUNTED_ROOT:-}" ]; then
    export VARDO_MOUNTED_ROOT=1
    # Mounts of a new namespace end with it, but where the machine shares them they would stay behind.
    # shellcheck disable=SC2016  # expanded by the inner shell
    exec unshare --mount --propagation unchanged sh -c '
        root=$(mktemp -d) && mount --rbind / "$root" || exit 1
        chroot "$root" sh -c "cd \"\$0\" && exec \"\$@\"" "$PWD" "$@"
        code=$?
        umount -l "$root" && rmdir "$root"
        exit $code' sh "./$(basename "$0")" "$@"
fi
