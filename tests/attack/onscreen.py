"""Mishaps that are seen in the window."""
import os

from place import *
from player import attack
from windows import TOLD, Window, wait_until

HOME = pathlib.Path("/root")


def own_home() -> None:
    mount("-t", "tmpfs", "none", HOME)


@attack("3 a file of signatures is damaged, says the start of the window")
def _():
    (SIGNATURES / "damaged.ndb").write_bytes(b"Broken:0:*:zz\n")
    Window()
    return wait_until(lambda: "damaged.ndb" in TOLD.read_text(), 5)


@attack("7 the page of the quarantine is opened while the directory cannot be")
def _():
    RECORDS.write_text("")
    scan("--log", "--action=quarantine", prey())
    RECORDS.write_text("bad~/srv/bad~Vardo.Marker~1~\n")
    before = RECORDS.read_bytes()
    QUARANTINE.rename(QUARANTINE.with_name("aside"))
    (PREY / "elsewhere").mkdir()
    os.chown(PREY / "elsewhere", OTHER, OTHER)
    QUARANTINE.symlink_to(PREY / "elsewhere")
    os.chown(QUARANTINE, OTHER, OTHER, follow_symlinks=False)
    window = Window()
    window.click("Quarantined")
    assert window.shows("Delete All")
    return RECORDS.read_bytes() == before


@attack("14 the window scans hundreds of thousands of directories without files")
def _():
    own_home()
    for number in range(300_000):
        (HOME / str(number // 1000) / str(number)).mkdir(parents=True)
    window = Window()
    window.click("Scan home directories")
    longest = window.deaf(5)
    assert window.shows("Total Number of Folder Scanned", 60)
    return longest < 1


@attack("15 the disk takes its time for a large file that is quarantined")
def _():
    own_home()
    (HOME / "bad").write_bytes(MARKER + bytes(2_000_000))
    window = Window(shim="SLOW")
    window.click("Scan home directories")
    longest = window.deaf(6)
    return not (HOME / "bad").exists() and longest < 1


@attack("smaller: a number in the file of the running window has a sign")
def _():
    (RUN / "vardogui.pid").write_text("+1")
    return Window().shows("already running", 5)


@attack("smaller: a link to a log is listed and read")
def _():
    target = prey("kept.log", b"kept elsewhere\n")
    os.utime(target, (1, 1))
    (LOGS / "link.log").symlink_to(target)
    (LOGS / "real.log").write_text("")
    window = Window()
    window.click("Logs")
    assert window.shows("real.log")
    if "link.log" not in window.texts():
        return False
    window.click("link.log")
    window.click("View")
    return wait_until(lambda: target.stat().st_atime > 1, 5) and target.read_bytes() == b"kept elsewhere\n"


@attack("smaller: a long name is cut between characters")
def _():
    own_home()
    configure("Action", "prompt")
    for end in ("\U0001f1e9\U0001f1ea" * 3, "..."):  # both are to be shown alike
        (HOME / ("x" * 18 + end)).write_bytes(MARKER)
    window = Window()
    window.click("Scan home directories")
    pictures = []
    for _ in range(2):
        assert window.shows("/root/x")
        pictures.append(window.picture("/root/x"))
        window.click("No Action")
    return pictures[0] == pictures[1]


@attack("smaller: a log location that is refused is not called saved")
def _():
    (LOGS.parent / "my\tlogs").mkdir()
    window = Window()
    window.click("Options")
    window.click("", behind="Log location", role="push button")
    window.click("my\tlogs")
    window.click("Choose")
    window.click("Save")
    assert window.shows("Ok")
    return any("Error saving" in text for text in window.texts())


@attack("smaller: a browser goes by its name")
def _():
    program, link, started = map(pathlib.Path, ("/usr/bin/launcher", "/usr/bin/our-browser", "/run/started"))
    program.write_text(f'#!/bin/sh\necho "$0" >{started}\n')
    program.chmod(0o755)
    link.symlink_to(program)
    configure("Browsers", "our-browser")
    Window().click("Feedback")
    return wait_until(started.exists, 5) and wait_until(lambda: started.read_text() == f"{link}\n", 2)
