#!/usr/bin/env python3
"""The quarantine as the command line programs fill, list and mend it, at its fixed place in a sandbox."""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

from commandline import MARKER, signature, wait_until

HOME = pathlib.Path("/home/tester")
VAR = pathlib.Path("/var/Quillstone/var")
QUARANTINE = VAR / "quarantine/vardo"
NOTES = QUARANTINE / ".restore"
ETC = pathlib.Path("/opt/Quillstone/etc")
RECORDS = ETC / "vardo/.quarantined"
END = "~#^|~"


def enter_sandbox() -> None:
    """Starts this again as an ordinary user who may write at the product's fixed places."""
    build = os.environ["BUILD"]
    os.execvp("bwrap", [
        "bwrap", "--unshare-user", "--unshare-pid", "--uid", "1000", "--gid", "1000", "--die-with-parent",
        "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc",
        *(word for path in ("/tmp", "/home", "/root", "/opt", "/var") for word in ("--tmpfs", path)),
        "--ro-bind", os.path.dirname(os.path.abspath(__file__)), os.path.dirname(os.path.abspath(__file__)),
        "--ro-bind", f"{build}/opt/usr", "/opt/Quillstone/usr", "--ro-bind", f"{build}/opt/sbin", "/opt/Quillstone/sbin",
        "--setenv", "IN_SANDBOX", "1", "--setenv", "HOME", str(HOME), "python3", os.path.abspath(__file__), *sys.argv[1:]])


def run(program: str, *arguments, become=()) -> subprocess.CompletedProcess:
    """Its output is text in which a byte that is none is a surrogate."""
    return subprocess.run([*become, f"/opt/Quillstone/usr/bin/{program}", *arguments], check=False,
                          capture_output=True, encoding="utf-8", errors="surrogateescape", timeout=60)


def quarantine(*arguments) -> subprocess.CompletedProcess:
    return run("vardoquarantine", *arguments)


def repaired() -> tuple[list[str], list[str]]:
    """What a repair by the user tells, and one by root after it."""
    outcomes = [run("vardoquarantine", "repair", become=become)
                for become in ((), ("unshare", "--user", "--map-root-user"))]
    assert all(outcome.returncode == 0 and not outcome.stderr for outcome in outcomes), outcomes
    return tuple(outcome.stdout.splitlines() for outcome in outcomes)


def put_away(name: str, recorded: bool = True) -> None:
    """A new file of that name in quarantine."""
    (HOME / name).write_bytes(MARKER)
    before = RECORDS.read_bytes()
    assert run("vardoscan", "--action=quarantine", HOME / name).returncode == 1
    if not recorded:
        RECORDS.write_bytes(before)


def record(name: str, virus: str = "v") -> str:
    return END.join([name, "2020 01 01", "1", virus, "\n"])


def records() -> list[list[str]]:
    return [line.split(END) for line in os.fsdecode(RECORDS.read_bytes()).splitlines()]


def files(directory: pathlib.Path) -> list[str]:
    return sorted(path.name for path in directory.iterdir() if path.is_file())


def state() -> str:
    """What is in quarantine: the files, the number of notes, the recorded names."""
    notes = len(files(NOTES)) if NOTES.exists() else 0
    return f"{' '.join(files(QUARANTINE))} | {notes} | {' '.join(entry[0] for entry in records())}"


class TestQuarantine(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for path in ("/opt/Quillstone/var/run", ETC / "vardo", VAR / "lib/signatures"):
            os.makedirs(path)
        (VAR / "lib/signatures/marker.ndb").write_bytes(signature(b"Vardo.Marker", MARKER))
        (ETC / "qsav.conf").write_text("[path]\nLocalSocketPath=/tmp/qsav\nAVSpidPATH=/tmp/qsav.pid\n"
                                       f"SignaturePath={VAR}/lib/signatures\nSystemSignaturePath=none\n")
        (ETC / "vardo/vardo.conf").write_text("[Scan]\nAction = log\n")

    def setUp(self):
        for path in (HOME, VAR / "quarantine", VAR / "log", RECORDS):
            shutil.rmtree(path, ignore_errors=True)
        for path in (HOME, QUARANTINE, VAR / "log/vardo"):
            os.makedirs(path)
        QUARANTINE.chmod(0o3770)
        RECORDS.write_bytes(b"")

    def test_wrong_use(self):
        put_away("bad")
        for arguments, error in (
                ([], "nothing to do"),
                (["lst"], "unknown command: lst"),
                (["--jso\n", "list"], r"unknown option: --jso\x0A"),
                (["restore"], "restore needs the name of a file"),
                (["--quarantine-dir=/none", "list"], "cannot open the quarantine: No such file"),
                (["delete", "../vardo/bad"], "not the name of a file"),
                (["delete", ".restore"], ".restore: Is a directory"),
                (["restore", "/home/x"], "not the name of a file"),
                (["restore", "none"], "none: No such file")):
            with self.subTest(arguments):
                outcome = quarantine(*arguments)
                self.assertEqual(outcome.returncode, 2)
                self.assertTrue(outcome.stderr.startswith("vardoquarantine: ") and error in outcome.stderr)
        self.assertEqual(state(), "bad | 1 | bad")

    def test_lists(self):
        self.assertEqual(quarantine("list").stdout, "The quarantine is empty.\n")
        put_away("bad")
        put_away("a\n\x1b[2J\udcff", recorded=False)
        (QUARANTINE / "stray").write_text("123")
        with RECORDS.open("a") as file:
            file.write(record("gone", "Old.Virus"))
        text = quarantine("list")
        self.assertEqual(text.returncode, 1)
        lines = text.stdout.splitlines()
        self.assertEqual(len(lines), 6)
        for line, start, end in ((lines[0], r"a\x0A\x1B[2J\xFF", r"/a\x0A\x1B[2J\xFF"), (lines[1], "bad", "/bad")):
            self.assertTrue(line.startswith(start + " [Vardo.Marker] 40 bytes, 20"), line)
            self.assertTrue(line.endswith(f", from {HOME}{end}"), line)
        self.assertEqual(lines[2], "gone [Old.Virus] (no such file)")
        self.assertEqual(lines[3], "stray 3 bytes, from an unknown place (not on the quarantine list)")
        self.assertEqual(lines[5], "2 of these can be mended by 'vardoquarantine repair'.")

        odd, bad, gone, stray, summary = map(json.loads, quarantine("--json", "list").stdout.splitlines())
        self.assertEqual(odd["name_bytes"], "610a1b5b324aff")
        self.assertEqual((bad["origin"], bad["mode"]), (f"{HOME}/bad", "0644"))
        self.assertTrue(bad["matches"] and bad["restorable"])
        self.assertFalse(gone["file"] or stray["restorable"])
        self.assertEqual(summary["mismatches"], 2)

    def test_restores(self):
        for name in ("bad", "taken", "worse"):
            put_away(name)
        (HOME / "taken").write_text("precious")
        outcome = quarantine("restore", "bad", "taken", "worse")
        self.assertEqual(outcome.returncode, 2)
        self.assertEqual(outcome.stdout, f"bad restored to {HOME}/bad\nworse restored to {HOME}/worse\n")
        self.assertEqual(outcome.stderr, "vardoquarantine: taken: something else is at its place by now\n")
        self.assertEqual((HOME / "bad").read_bytes(), MARKER)
        self.assertEqual((HOME / "taken").read_text(), "precious")
        self.assertEqual(state(), "taken | 1 | taken")
        self.assertEqual(quarantine("list").returncode, 0)

    def test_deletes(self):
        for name in ("-rf", "x-rf"):
            put_away(name)
        with RECORDS.open("a") as file:
            file.write(record("gone"))
        outcome = quarantine("--json", "delete", "--", "-rf", "gone")
        self.assertEqual(outcome.returncode, 0)
        self.assertEqual(outcome.stdout, '{"type":"deleted","name":"-rf"}\n{"type":"deleted","name":"gone"}\n')
        self.assertEqual(state(), "x-rf | 1 | x-rf")

    def test_repairs(self):
        put_away("fine")
        (QUARANTINE / "fine").write_text("another content")  # its note stays all the same
        put_away("deleted")
        (QUARANTINE / "deleted").unlink()
        put_away("unrecorded", recorded=False)
        put_away("un#recordable", recorded=False)
        (QUARANTINE / "stray").write_text("123")
        (QUARANTINE / "unrecorded").chmod(0o4755)
        (NOTES / ".incoming-0123456789abcdef").write_text("half a file")
        # A file without a note may be another user's, with a note that the user cannot read.
        self.assertEqual(repaired(), ([
            "unfinished copy removed", "note of a file that has gone dropped: deleted",
            "everybody's rights taken away: unrecorded", "taken off the quarantine list: deleted",
            "put on the quarantine list: unrecorded"], ["put on the quarantine list: stray"]))
        self.assertEqual(state(), "fine stray un#recordable unrecorded | 3 | fine unrecorded stray")
        self.assertEqual([entry[3] for entry in records()], ["Vardo.Marker", "Vardo.Marker", "unknown"])
        self.assertEqual((QUARANTINE / "unrecorded").stat().st_mode & 0o7777, 0o600)
        self.assertEqual(quarantine("list").returncode, 0)
        self.assertEqual(repaired(), ([], []))

        RECORDS.unlink()
        (RECORDS / "planted").mkdir(parents=True)
        (ETC / "vardo/.quarantined_tmp/planted").mkdir(parents=True)
        self.assertEqual([len(lines) for lines in repaired()], [1, 2])
        self.assertEqual(state(), "fine stray un#recordable unrecorded | 3 | unrecorded fine stray")
        # Nothing is listed of a directory elsewhere.
        self.assertEqual(quarantine(f"--quarantine-dir={HOME}", "list").returncode, 0)
        self.assertEqual(quarantine(f"--quarantine-dir={HOME}", "repair").stdout, "")

    def test_finishes_a_move_that_was_killed(self):
        """The file is in quarantine and where it was; another one came back there later."""
        for name in ("killed", "back"):
            put_away(name)
            shutil.copy2(QUARANTINE / name, HOME / name)
        note, = (path for path in NOTES.iterdir() if b"/killed\0" in path.read_bytes())
        fields = note.read_bytes().split(b"\0")
        fields[13] = b"%d" % (int(fields[13]) + 9)  # when it was quarantined
        note.write_bytes(b"\0".join(fields))
        self.assertRegex(quarantine("list").stdout, r"back .* \(still there, too\)\nkilled .* \(still there, too\)")
        self.assertEqual(sorted(repaired()[0]), ["left where it was, too: back", "removed from where it was: killed"])
        self.assertEqual((files(HOME), state()), (["back"], "back killed | 2 | killed back"))

    def test_repairs_what_is_no_record(self):
        for name in ("\n", "bad"):
            put_away(name)
        RECORDS.write_bytes(b"\nbad~\0bad~1~2~\n")
        self.assertEqual((quarantine("repair").returncode, quarantine("list").returncode), (0, 0))
        self.assertEqual((quarantine("repair").stdout, state()), ("", "\n bad | 2 | bad"))

    def test_mends_what_was_recorded_by_mistake(self):
        """After a gap in a series another file is recorded than the engine has taken."""
        for _ in range(3):
            put_away("bad")
        self.assertEqual(quarantine("delete", "bad-0").returncode, 0)
        put_away("bad")
        self.assertEqual(state(), "bad bad-0 bad-1 | 3 | bad bad-1 bad-1")
        self.assertEqual(quarantine("list").returncode, 1)
        self.assertEqual(quarantine("repair").returncode, 0)
        self.assertEqual(state(), "bad bad-0 bad-1 | 3 | bad bad-1 bad-0")

    def test_two_scans_share_a_series(self):
        """Nothing is lost. That one records the other's last file, as after a gap, is mended like that."""
        each = 60
        for scan in ("one", "two"):
            for number in range(each):
                folder = HOME / scan / str(number)
                folder.mkdir(parents=True)
                (folder / "bad").write_bytes(MARKER + f"{scan} {number}".encode())
        scans = [subprocess.Popen(["/opt/Quillstone/usr/bin/vardoscan", "--quiet", "--action=quarantine", HOME / scan])
                 for scan in ("one", "two")]
        self.assertEqual([scan.wait(60) for scan in scans], [1, 1])
        self.assertEqual(len({(QUARANTINE / name).read_bytes() for name in files(QUARANTINE)}), 2 * each)
        self.assertEqual((len(files(NOTES)), len(records())), (2 * each, 2 * each))
        self.assertEqual(quarantine("repair").returncode, 0)
        self.assertEqual(sorted(entry[0] for entry in records()), files(QUARANTINE))

    def test_what_is_quarantined_is_recorded_or_told(self):
        def scan(*options: str) -> str:
            for directory in ("a", "b"):
                (HOME / directory).mkdir(exist_ok=True)
                (HOME / directory / "caf\udce9").write_bytes(MARKER)
            outcome = run("vardoscan", "--action=quarantine", *options, HOME)
            self.assertEqual(outcome.returncode, 1)
            return outcome.stderr

        self.assertEqual(scan(), "")
        self.assertEqual([entry[0] for entry in records()], ["caf\udce9", "caf\udce9-0"])
        scan(f"--quarantine-dir={HOME}/jail")
        self.assertTrue((HOME / "jail/caf\udce9-0").exists())
        self.assertEqual(len(records()), 2)  # the window does not list that directory
        shutil.rmtree(HOME / "jail")
        RECORDS.unlink()
        RECORDS.mkdir()
        self.assertEqual(scan(), "vardoscan: 2 quarantined files could not be noted in the quarantine list\n")
        self.assertTrue((QUARANTINE / "caf\udce9-2").exists())

    def test_processes_are_only_reported(self):
        program = HOME / "running"
        program.write_bytes(pathlib.Path("/bin/sleep").read_bytes() + MARKER)
        program.chmod(0o700)
        victim = subprocess.Popen([program, "60"])
        wait_until(lambda: os.readlink(f"/proc/{victim.pid}/exe") == str(program))
        outcome = run("vardoscan", "--memory", "--log", "--action=delete")
        victim.kill()
        victim.wait()
        self.assertEqual(outcome.returncode, 1)
        line = f"PID: {victim.pid} {program} INFECTED [Vardo.Marker]"
        self.assertIn(line, outcome.stdout)
        log, = (VAR / "log/vardo").iterdir()
        text = log.read_text()
        self.assertIn("***\n\nMemory Scan started\n", text)
        self.assertIn(line, text)
        self.assertTrue(text.endswith("\nMemory scan completed successfully\n"))
        self.assertTrue(program.exists())


if __name__ == "__main__":
    if "IN_SANDBOX" not in os.environ:
        enter_sandbox()
    unittest.main()
