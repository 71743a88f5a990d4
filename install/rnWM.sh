#!/bin/sh
# Opens the quarantine location in the desktop's file manager. The word "root" that root's window
# adds needs nothing special here: the file manager runs with the rights of whoever asked.
location=/var/Quillstone/var/quarantine/vardo/
PATH=/usr/bin:/bin

for manager in xdg-open pcmanfm-qt pcmanfm thunar nautilus dolphin caja nemo; do
    if command -v "$manager" >/dev/null 2>&1; then
        exec "$manager" "$location"
    fi
done
exit 1
