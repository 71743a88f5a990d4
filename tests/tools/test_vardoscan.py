#!/usr/bin/env python3
"""The command line scanner as a process, on real files and with the built service."""
import base64
import ctypes
import fcntl
import json
import mmap
import os
import pathlib
import pty
import resource
import select
import shutil
import signal
import subprocess
import tempfile
import unittest

from commandline import MARKER, TEST_FILE, CommandLineTest, Outcome, Place, signature, wait_until, zipped

SAMPLES = pathlib.Path("/usr/share/clamav-testfiles")
MANY = 1500  # names whose lines do not fit into a pipe


def mail_with(content: bytes) -> bytes:
    return (b"From: a@example.org\r\nTo: b@example.org\r\nSubject: x\r\nMIME-Version: 1.0\r\n"
            b'Content-Type: application/octet-stream; name="x.bin"\r\n'
            b"Content-Transfer-Encoding: base64\r\n\r\n" + base64.b64encode(content) + b"\r\n")


def printable(text: bytes) -> bool:
    return all(byte >= 0x20 or byte == 0x0a for byte in text)


def pages_in_memory(path: pathlib.Path) -> int:
    """How many of a file's first 64 pages are in memory."""
    pages = (ctypes.c_ubyte * 64)()
    with path.open("rb") as file, mmap.mmap(file.fileno(), 64 * mmap.PAGESIZE, mmap.MAP_PRIVATE) as mapped:
        start = ctypes.c_char.from_buffer(mapped)
        failed = ctypes.CDLL(None).mincore(ctypes.byref(start), ctypes.c_size_t(len(mapped)), pages)
        del start
    assert not failed
    return sum(page & 1 for page in pages)


class TestVardoscan(CommandLineTest):
    def test_tells_what_it_finds(self):
        place = self.place
        place.write("a clean one", b"harmless")
        self.assertEqual(place.run().code, 0)
        place.write("bad", TEST_FILE)
        place.write("c.zip", zipped("letter.txt", MARKER))
        summary = (b"\nScanned directories  1\nScanned objects      3\nClean objects        1\n"
                   b"Infected objects     2\nTime ")
        found = (place.tree + b"/bad INFECTED [Vardo-Test-File]\n" +
                 place.tree + b"/c.zip=>letter.txt INFECTED [Vardo.Marker]\n")
        outcome = place.run()
        self.assertEqual(outcome.code, 1)
        self.assertTrue(outcome.out.startswith(found + summary), outcome.out)
        self.assertEqual(outcome.err, b"")  # no progress without a terminal
        everything = place.run("--all").out
        self.assertTrue(everything.startswith(place.tree + b"/a clean one CLEAN\n" + found + summary), everything)
        quiet = place.run("--quiet")
        self.assertEqual((quiet.code, quiet.out, quiet.err), (1, b"", b""))

    def test_takes_names_from_a_list(self):
        place = self.place
        for name in "-one", "two\nlines", "left out":
            place.write(name, MARKER)
        place.write("../names", b"".join(os.path.join(place.tree, name) + b"\0" for name in (b"-one", b"two\nlines")))
        with open(place.path("names"), "rb") as names:
            listed = Outcome(place.start("--files-from=-", "-0", stdin=names))
        self.assertIn(b"Infected objects     2\n", listed.out)
        place.write("../names", b"\n" + place.tree + b"/-one\nmissing")
        some = place.run("--files-from=%/names", on=[])
        self.assertEqual((some.code, some.out.count(b"[Vardo.Marker]")), (1, 1))
        self.assertIn(b"missing: No such file", some.err)
        self.assertEqual(place.run("--files-from=/dev/null", on=[]).code, 0)
        self.assertEqual(place.run("--files-from=%", on=[]).code, 2)
        self.assertEqual(place.run("--jobs=0").code, 2)

    def test_tells_what_it_cannot_scan(self):
        place = self.place
        place.write("clean", b"harmless")
        place.write("bad", MARKER)
        missing = "%/missing\x1b[2J"
        some = place.run("--log-level=all", on=[missing, "%/tree/clean"])
        self.assertEqual(some.code, 2)
        self.assertIn(b"Scanned objects      1\n", some.out)
        self.assertIn(rb"missing\x1B[2J: No such file or directory", some.err)
        log = place.take_log()
        self.assertIn(rb"missing\x1b[2J ERROR (", log)
        self.assertIn(b"\nTREE/clean CLEAN\n", log)
        self.assertEqual(place.run(on=[missing, "%/tree/bad"]).code, 1)
        self.assertEqual(place.run("--log", on=[missing]).code, 2)
        self.assertIn(b"\n\nSCAN ERROR: ", place.take_log())
        self.assertEqual(place.run(on=["/dev/null"]).code, 2)

    def test_wrong_use(self):
        for arguments, says in (
                ("--quiet", "nothing to scan"),
                ("/ ", "empty name"),
                ("--sacn /", "unknown option: --sacn"),
                ("--action=prompt /", "--action: prompt (should be log, delete, rename or quarantine)"),
                ("--max-size=18014398509481984K /", "--max-size"),  # overflows
                ("--max-depth=256 /", "--max-depth: 256 (should be a number from 0 to 255)"),
                ("--include=a --exclude=b /", "together"),
                ("--rename-extension=../x /", "--rename-extension"),
                ("--log=here /", "--log: here"),
                ("--memory /", "no paths"),
                ("--config=/nonexistent /", "/nonexistent")):
            with self.subTest(arguments):
                outcome = subprocess.run([os.environ["VARDOSCAN"], *arguments.split(" ")],
                                         check=False, capture_output=True, text=True)
                self.assertEqual((outcome.returncode, outcome.stdout), (2, ""))
                self.assertTrue(outcome.stderr.startswith("vardoscan: ") and says in outcome.stderr)

    def test_failures_are_told_and_logged(self):
        place = self.place
        place.write("clean", b"harmless")
        unlogged = place.run("--log=/proc")
        self.assertEqual(unlogged.code, 2)
        self.assertEqual(unlogged.err, b"vardoscan: cannot write a scan log below /proc\n")
        self.assertIn(b"Clean objects        1\n", unlogged.out)  # but scanned it is
        shutil.rmtree(place.path("signatures"))
        wait_until(lambda: place.run().code == 2)  # once the service has noticed
        outcome = place.run("--log")
        self.assertEqual((outcome.code, outcome.out), (2, b""))
        self.assertTrue(outcome.err.startswith(b"vardoscan: "))
        log = place.take_log()
        self.assertTrue(log.endswith(b"\n\nSCAN ERROR: " + outcome.err[11:]), log)

    def test_what_cannot_be_written(self):
        """Neither may pass for whole, even though something was found."""
        def write_little():
            resource.setrlimit(resource.RLIMIT_FSIZE, (700, 700))

        self.place.write("bad", MARKER)
        for option, output, says in (("--all", "/dev/full", b"vardoscan: cannot write the output"),
                                     ("--log", "/dev/null", b"vardoscan: the scan log is not whole: File too large\n")):
            with self.subTest(option), open(output, "wb") as stdout:
                outcome = Outcome(self.place.start(option, "%/tree", stdout=stdout, preexec_fn=write_little))
                self.assertEqual(outcome.code, 2)
                self.assertTrue(outcome.err.startswith(says), outcome.err)

    def test_closed_descriptors_take_no_file(self):
        self.place.write("bad", MARKER)
        Outcome(self.place.start("--log", "%/tree", preexec_fn=lambda: os.close(1)))
        self.assertEqual(self.place.take_log().count(b"bad INFECTED"), 1)

    @unittest.skipIf(os.geteuid(), "root alone must be careful")
    def test_tells_which_settings_do_not_count(self):
        place = self.place
        os.chmod(place.path("vardo.conf"), 0o666)
        words = (b"Location = %b in %b does not count for root, since others could have written it; taken instead: "
                 b"/var/Quillstone/var/log\n" % (place.path("logs"), place.path("vardo.conf")))
        self.assertIn(b"vardoscan: " + words, place.run("--log=%/logs").err)
        self.assertIn(b"\nSETTINGS: " + words, place.take_log())
        place.configure(b"")
        os.chmod(place.path("vardo.conf"), 0o600)
        self.assertEqual(Outcome(place.start("--config=vardo.conf", "%/tree", cwd=place.home)).err, b"")

    def test_leaves_access_times(self):
        self.place.write("bad", MARKER)
        paths = [self.place.tree, os.path.join(self.place.tree, b"bad")]
        for path in paths:
            os.utime(path, (1000, 2000))
        self.assertEqual(self.place.run().code, 1)
        self.assertEqual([os.stat(path).st_atime for path in paths], [1000, 1000])

    def test_waits_for_a_lease(self):
        """As a file server takes one on what it has given to others."""
        self.place.write("bad", MARKER)
        with open(os.path.join(self.place.tree, b"bad"), "r+b") as file:
            signal.signal(signal.SIGIO, lambda *_: fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_UNLCK))
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)
            self.assertEqual(self.place.run().code, 1)

    def test_damaged_signatures_are_told(self):
        place = self.place
        place.write("clean", b"harmless")
        place.write("../signatures/main.cvd", b"c" * 600)
        told = place.path("signatures/main.cvd") + b" was left out: "
        outcome = place.run("--json", "--log")
        self.assertEqual(outcome.code, 2)
        self.assertTrue(outcome.err.startswith(b"vardoscan: " + told), outcome.err)
        summary = json.loads(outcome.out.splitlines()[-1])
        self.assertTrue(summary["signatures_left_out"].startswith(told.decode()))
        self.assertIn(b"\nSIGNATURES: " + told, place.take_log())
        place.write("bad", MARKER)
        self.assertEqual(place.run().code, 1)

    def test_logs(self):
        """As the window does, whose tests have the whole text."""
        found = b"TREE/b.zip=>in INFECTED [Vardo.Marker]\n"
        everything = b"Scanning directory TREE\nTREE/a CLEAN\n"
        rows = (
            # options, where it goes, what comes behind the switches
            ("--log", "logs", b"Log only\nLog level\t\t\t: 3\n\n" + everything + found),
            ("--log-level=infected --log=%/else", "else", b"Log only\nLog level\t\t\t: 2\n\n" + found),
            ("--log --action=rename --rename-extension=vir", "logs",
             b"Rename\nRename path\t\t\t: vir\nLog level\t\t\t: 3\n\n" + everything +
             b"TREE/b.zip RENAMED [Vardo.Marker] (now named b.zip.vir; found in in)\n"))
        place = self.place
        os.mkdir(place.path("else"))
        place.configure(b"[Log]\nLevel=all\n")
        place.write("a", b"harmless")
        place.write("b.zip", zipped("in", MARKER))
        for options, location, text in rows:
            with self.subTest(options):
                self.assertEqual(place.run("--quiet", *options.split()).out, b"")
                log = place.take_log(location)
                self.assertTrue(log.startswith(b"*****") and log.endswith(b"-----\n"), log)
                self.assertIn(b"Cross file system\t\t: No\nScan action\t\t\t: " + text +
                              b"--------------------Scan Statistics--------------------\n"
                              b"Scanned directories\t\t1\nScanned objects\t\t\t2\n", log)

    def test_json_carries_any_name(self):
        names = [b"\x01\x1b]0;title\x07", b'"quoted"', b"back\\slash", b"line\nfeed", b"\xc2\x9b 31m",
                 b"\xed\xa0\x80", b"\xff\xfe broken"]
        for name in names:
            self.place.write(name, MARKER)
        outcome = self.place.run("--json")
        self.assertEqual(outcome.code, 1)
        self.assertTrue(printable(outcome.out))
        *objects, summary = [json.loads(line) for line in outcome.out.splitlines()]
        found = []
        for entry in objects:
            self.assertEqual((entry["type"], entry["status"], entry["virus"]),
                             ("file", "INFECTED", "Vardo.Marker"))
            name = bytes.fromhex(entry["name_bytes"]) if "name_bytes" in entry else entry["name"].encode()
            found.append(os.path.relpath(name, self.place.tree))
        self.assertEqual(found, sorted(names))
        self.assertEqual((summary["type"], summary["complete"], summary["infected"]), ("summary", True, len(names)))

    def test_names_cannot_steer_the_terminal(self):
        place = self.place
        place.write(b"\x1b]0;owned\x07\r\xc2\x9b2J\xe2\x80\xae\xff x", MARKER)
        place.write("inner.zip", zipped("\x1b[2J\nz", MARKER))
        terminal, screen = pty.openpty()
        outcome = Outcome(place.start("%/tree", stderr=screen))
        progress = b""
        while not progress.endswith(b"\r\x1b[K"):  # and leaves a clean line
            self.assertTrue(select.select([terminal], [], [], 5)[0], progress)
            progress += os.read(terminal, 65536)
        self.assertEqual(outcome.code, 1)
        self.assertIn(place.tree + rb"/\x1B]0;owned\x07\x0D\xC2\x9B2J\xE2\x80\xAE\xFF x INFECTED", outcome.out)
        self.assertIn(rb"inner.zip=>\x1B[2J\x0Az INFECTED", outcome.out)
        self.assertTrue(printable(outcome.out))
        self.assertIn(b" objects, ", progress)
        self.assertTrue(printable(progress.replace(b"\r\x1b[K", b"")))

    def test_actions(self):
        for options, word, now in (
                ("--action=log", b"INFECTED", "tree/bad"),
                ("--action=delete", b"DELETED", ""),
                ("--action=rename", b"RENAMED", "tree/bad.qst"),
                ("--action=quarantine", b"QUARANTINED", "quarantine/bad"),
                ("--action=quarantine --quarantine-dir=%/jail", b"QUARANTINED", "jail/bad")):
            with self.subTest(options), Place() as place:
                place.write("bad", MARKER)
                outcome = place.run(*options.split())
                self.assertEqual(outcome.code, 1)
                self.assertTrue(outcome.out.startswith(place.tree + b"/bad " + word + b" [Vardo.Marker]"))
                self.assertEqual(os.path.exists(place.path("tree/bad")), now == "tree/bad")
                self.assertTrue(os.path.exists(place.path(now)))

    def test_never_the_configured_action(self):
        place = self.place
        place.configure(b"Action=delete\nScanArchives=no\n")
        place.write("bad", MARKER)
        place.write("c.zip", zipped("letter.txt", b"x" * 2000 + MARKER))
        self.assertEqual(place.objects(), [b"bad INFECTED [Vardo.Marker]"])
        self.assertEqual(len(place.objects("--archives")), 2)  # while the rest of it counts
        self.assertTrue(os.path.exists(place.path("tree/bad")))
        # Its extensions give way to those that are asked for.
        place.configure(b"OnlyExtensions=yes\nExtensions=zip\n")
        self.assertEqual(place.objects("--exclude=zip"), [b"bad INFECTED [Vardo.Marker]"])

    def test_switches(self):
        place = self.place
        marked = b"x" * 2000 + MARKER
        os.mkdir(place.path("tree/dir"))
        os.mkdir(place.path("outside"))
        elsewhere = self.enterContext(tempfile.TemporaryDirectory(dir="/dev/shm"))  # another file system
        for target, link in (("../outside", "link"), (elsewhere, "far"), ("..", "dir/loop")):
            os.symlink(target, place.path("tree/" + link))
        for name, content in (("a.exe", MARKER), ("b.zip", zipped("in", marked)), ("c.eml", mail_with(marked)),
                              ("dir/d.txt", marked), ("link/e.out", MARKER), ("far/f.out", MARKER)):
            place.write(name, content)
        for options, found in (
                ("", "a.exe b.zip=>in c.eml=>x.bin dir/d.txt"),
                ("--no-archives", "a.exe c.eml=>x.bin dir/d.txt"),
                ("--no-mails", "a.exe b.zip=>in dir/d.txt"),
                ("--no-archives --no-mails --archives", "a.exe b.zip=>in dir/d.txt"),  # the later one holds
                ("--no-recursive", "a.exe b.zip=>in c.eml=>x.bin"),
                ("--max-depth=0", "a.exe b.zip=>in c.eml=>x.bin"),
                ("--include=.EXE --include=*.txt", "a.exe dir/d.txt"),
                ("--exclude=exe,zip", "c.eml=>x.bin dir/d.txt"),
                ("--exclude-dir=%/none --exclude-dir=%/tree//dir/", "a.exe b.zip=>in c.eml=>x.bin"),
                ("--max-size=1K --no-mails", "a.exe b.zip=>in"),
                ("--follow-links --include=out", "link/e.out"),
                ("--follow-links --cross-fs --include=out", "far/f.out link/e.out")):
            with self.subTest(options):
                self.assertEqual(place.objects(*options.split()),
                                 [name + b" INFECTED [Vardo.Marker]" for name in found.encode().split()])

    def test_switches_of_the_parser(self):
        place = self.place
        program = (SAMPLES / "clam.exe").read_bytes()
        body = program.index(b"CLAMessageBoxA")
        place.write("../signatures/sample.ndb", signature(b"Sample", program[body:body + 64]))
        place.write("a.exe", (SAMPLES / "clam-upx.exe").read_bytes())
        # A cursor whose header says that it is larger than it may be.
        place.write("b.ani", b"RIFF\x48\0\0\0ACONanih\x40\0\0\0" + b"\1" * 64)
        self.assertEqual(place.objects("--no-heuristics"), [b"a.exe INFECTED [Sample]"])
        found, = place.objects("--no-packed")
        self.assertTrue(found.startswith(b"b.ani SUSPECTED ["), found)

    def test_stands_back_like_its_caller(self):
        """As one who calls it with nice, ionice and taskset expects, though others do the reading."""
        place = self.place
        self.assertEqual(place.run().code, 0)  # loads the service
        for number in range(MANY):  # output that nobody takes away holds the scan up
            place.write(f"a file with quite a long name {number}", b"harmless")
        disk = self.enterContext(tempfile.TemporaryDirectory(dir=os.getcwd()))  # since /tmp may be memory
        read, unread = pathlib.Path(disk, "read"), pathlib.Path(disk, "unread")
        for path in (read, unread):
            path.write_bytes(b"x" * 300000)
            with path.open("rb") as file:
                os.fsync(file)
                os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)
        read.read_bytes()
        self.assertEqual((pages_in_memory(read), pages_in_memory(unread)), (64, 0))

        process = place.start("--all", disk, "%/tree", by="nice -n 7 ionice -c 3 taskset -c 0".split())
        lines = [process.stdout.readline() for _ in range(2)]
        self.assertEqual(lines, [os.fsencode(path) + b" CLEAN\n" for path in (read, unread)])
        wait_until(lambda: (pages_in_memory(read), pages_in_memory(unread)) == (64, 0))
        worker, = place.workers()
        self.assertEqual(os.getpriority(os.PRIO_PROCESS, worker), 7)
        self.assertTrue(subprocess.check_output(["ionice", "-p", str(worker)]).startswith(b"idle"))
        self.assertEqual(os.getpriority(os.PRIO_PROCESS, place.service()), 0)  # the next one's are not held back
        process.terminate()
        self.assertEqual(Outcome(process).code, 2)

    def test_stops(self):
        for loading in (True, False):
            with self.subTest(loading=loading), Place() as place:
                self.assertEqual(place.run().code, 0)  # loads the service
                for number in range(MANY):
                    place.write(f"a file with quite a long name {number}", b"harmless")
                if loading:
                    os.kill(place.service(), signal.SIGSTOP)
                process = place.start("--jobs=3", "--log", "--all", "--json", "%/tree")
                wait_until(lambda: place.logs())  # it knows what to do with signals
                # Output that nobody takes away holds the scan up.
                first = b"" if loading else process.stdout.readline()
                self.assertTrue(loading or len(place.workers()) == 3)
                process.send_signal(signal.SIGINT if loading else signal.SIGTERM)
                outcome = Outcome(process)
                os.kill(place.service(), signal.SIGCONT)
                self.assertEqual(outcome.code, 2)
                self.assertTrue(place.take_log().endswith(b"\nScan cancelled before completion\n"))
                if loading:
                    self.assertEqual(outcome.err, b"vardoscan: interrupted\n")
                    continue
                lines = [json.loads(line) for line in (first + outcome.out).splitlines()]
                self.assertIs(lines[-1]["complete"], False)
                self.assertTrue(1 < len(lines) < MANY)

    def test_stops_when_nobody_reads(self):
        for number in range(MANY):
            self.place.write(f"a file with quite a long name {number}", b"harmless")
        process = self.place.start("--log", "--all", "%/tree")
        process.stdout.readline()
        process.stdout.close()
        self.assertEqual(process.wait(60), 2)
        process.stderr.close()
        self.assertTrue(self.place.take_log().endswith(b"\nScan cancelled before completion\n"))

    def test_finds_with_the_shipped_signatures(self):
        place = self.place
        place.serve(os.environb[b"SIGNATURES"])
        place.write("plain", TEST_FILE)
        place.write("twice.zip", zipped("in.zip", zipped("test.com", TEST_FILE)))
        place.write("mail.eml", mail_with(TEST_FILE))
        place.write("document", b"They agreed on the string " + TEST_FILE + b" for tests.\n")
        self.assertEqual(place.objects(), [name + b" INFECTED [Eicar-Test-Signature]" for name in
                                           (b"mail.eml=>x.bin", b"plain", b"twice.zip=>in.zip=>test.com")])


if __name__ == "__main__":
    unittest.main()
