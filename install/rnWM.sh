#!/bin/sh
# Opens the quarantine location in the desktop's file manager. The word "root" that root's window
# adds needs nothing special here: the file manager runs with the rights of whoever asked. It runs by
# itself: the window waits for the end of this script.
location=/var/Quillstone/var/quarantine/vardo/
PATH=/usr/bin:/bin

for manager in xdg-open pcmanfm-qt pcmanfm thunar nautilus dolphin caja nemo; do
    if command -v "$manager" >/dev/null 2>&1; then
        setsid "$manager" "$location" </dev/null >/dev/null 2>&1 &
        exit 0
    fi
done
exit 1
