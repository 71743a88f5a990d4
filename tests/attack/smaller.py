"""Smaller mishaps, on the command line."""
import os
import re
import subprocess
import zipfile

from place import *
from player import attack


@attack("smaller: the first start has a page to come back to")
def _():
    return (PRODUCT / "etc/vardo/.lastScan").exists()


@attack("smaller: an inner name keeps its folders")
def _():
    with zipfile.ZipFile(PREY / "a.zip", "w") as archive:
        archive.writestr("inner/e.com", MARKER)
    return "=>inner/e.com" in scan(PREY).stdout


@attack("smaller: two logs within one second sort as they were written")
def _():
    for number in range(3):
        scan("--log", prey("good", b"harmless"))
    logs = sorted(LOGS.glob("*.log"))[-3:]
    return len(logs) == 3 and logs == sorted(logs, key=lambda path: path.stat().st_mtime_ns)


@attack("smaller: somebody outside the group is told how to get in")
def _():
    bad = prey()
    os.chown(bad, OTHER, OTHER)
    done = subprocess.run(by(OTHER, VARDOSCAN, "--action=quarantine", bad), capture_output=True, text=True, check=False)
    return "qsconf" in done.stdout + done.stderr


@attack("smaller: a user without settings of their own gets no place for them")
def _():
    (PRODUCT / "etc/vardo-ver").write_text("TIER-B MODULE-4\n")
    session = pathlib.Path("/run/user", str(MEMBER))
    session.mkdir(parents=True)
    bad = prey()
    for path in (session, bad):
        os.chown(path, MEMBER, MEMBER)
    done = subprocess.run(by(MEMBER, VARDOSCAN, bad), capture_output=True, text=True, check=False,
                          env={"XDG_RUNTIME_DIR": str(session)})
    return found(done) and (session / "vardo/qsav").is_socket() and not pathlib.Path("/home/member/.vardo").exists()


@attack("smaller: the folder of the logs is a link of root's")
def _():
    shutil.move(LOGS, PREY / "kept")
    LOGS.symlink_to(PREY / "kept")
    scan("--log", prey("good", b"harmless"))
    return len(list((PREY / "kept").glob("*.log"))) == 1


@attack("smaller: the folder of the logs is a link of its owner's")
def _():
    sh_by(MEMBER, f"mkdir ~member/logs ~member/kept; ln -s ../kept ~member/logs/vardo; "
                  f"{VARDOSCAN} --log=/home/member/logs /etc/hostname >/dev/null")
    return len(list(pathlib.Path("/home/member/kept").glob("*.log"))) == 1


@attack("smaller: names with an escape and with its text differ in the log")
def _():
    for name in ("a\nb", "a\\nb"):
        prey(name)
    scan("--log", PREY)
    lines = re.findall(".* INFECTED .*", next(LOGS.glob("*.log")).read_text())
    return len(lines) == len(set(lines)) == 2


@attack("smaller: one file is not many")
def _():
    RECORDS.unlink()
    RECORDS.mkdir()
    return "1 quarantined file could not" in scan("--action=quarantine", prey()).stderr


@attack("smaller: the service dies between its greeting and the first order")
def _():
    scan("/etc/hostname")
    return found(scan(prey(), shim="MURDER"))


@attack("smaller: an option without a good value says what it takes")
def _():
    return "from 0 to 255" in scan("--max-depth=abc", PREY).stderr


@attack("smaller: the installation says whom it has admitted")
def _():
    subprocess.run(["useradd", "--no-create-home", "newcomer"], check=True)
    return re.search("newcomer .*next login", unpack(SUDO_USER="newcomer")) is not None
