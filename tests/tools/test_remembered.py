#!/usr/bin/env python3
"""What scans remember of clean files, and attempts to have a harmful one taken for such a file."""
import json
import mmap
import os
import pathlib
import random
import shutil
import subprocess
import tempfile
import time
import unittest

import commandline
from commandline import MARKER, signature

HARMLESS = b"a text that stands for something harmless"[:len(MARKER)].ljust(len(MARKER))
STORE = "remembered/cleanfiles"


def on_disk(path) -> bool:
    return subprocess.run(["stat", "-f", "-c", "%T", path], capture_output=True).stdout.strip() in (
        b"ext2/ext3", b"btrfs")


def clock(ahead: str) -> dict[str, str]:
    """The environment of a program for which it is later than it is."""
    return os.environ | {"LD_PRELOAD": "/usr/$LIB/faketime/libfaketimeMT.so.1", "FAKETIME": ahead,
                         "NO_FAKE_STAT": "1", "FAKETIME_DONT_FAKE_MONOTONIC": "1"}


class RememberedTest(commandline.CommandLineTest):
    """Scans run at a later time of day than it is, so that files need not wait to be old enough."""

    def scan(self, *arguments, on=("%/tree",), by=(), later="+120"):
        """What a scan counts: objects, infected ones, remembered ones."""
        outcome = commandline.Outcome(
            self.place.start("--json", *arguments, *on, by=by, env=clock(later) if later else None))
        counted = json.loads(outcome.out.splitlines()[-1])
        return counted["objects"], counted["infected"], counted["remembered"]

    def remembers(self, *names):
        """Has these files, or one, be there and remembered."""
        for name in names or ("file",):
            self.place.write(name, HARMLESS)
        count = len(names) or 1
        self.assertEqual(self.scan(), (count, 0, 0))
        self.assertEqual(self.scan(), (count, 0, count))

    def path(self, name="file") -> str:
        return os.fsdecode(os.path.join(self.place.tree, os.fsencode(name)))

    def times_put_back(self, change):
        """Changes a file, and has it look as if nothing had happened."""
        before = os.stat(self.path())
        change()
        os.utime(self.path(), ns=(before.st_atime_ns, before.st_mtime_ns))
        self.assertEqual(os.stat(self.path()).st_size, before.st_size)

    def test_counts_and_tells_as_ever(self):
        self.remembers("a", "b")
        self.assertEqual(self.scan("--log", "--log-level=all"), (2, 0, 2))
        log = self.place.take_log()
        self.assertIn(b"TREE/a CLEAN", log)
        text = commandline.Outcome(self.place.start("--all", "%/tree", env=clock("+120"))).out
        self.assertIn(b"/a CLEAN\n", text)
        self.assertIn(b"Remembered objects   2\n", text)
        self.assertEqual(self.scan("--no-cache"), (2, 0, 0))
        self.place.configure(b"Remember = no\n")
        self.assertEqual(self.scan(), (2, 0, 0))
        self.place.configure(b"")
        self.assertEqual(self.scan(), (2, 0, 2))
        self.assertEqual(self.place.run("--forget", on=()).code, 0)
        self.assertEqual(self.scan(), (2, 0, 0))

    def test_fresh_files_are_not_remembered(self):
        self.place.write("file", HARMLESS)
        for _ in range(2):
            self.assertEqual(self.scan(later=""), (1, 0, 0))

    def test_processes(self):
        # With libraries of its own: those of the system may lie where nothing is remembered.
        needed = subprocess.run(["ldd", "/bin/sleep"], capture_output=True, text=True, check=True).stdout.split()
        for file in ["/bin/sleep", *filter(os.path.isabs, needed)]:
            shutil.copy(file, self.path(os.path.basename(file)))
        loader = next(file for file in map(os.path.basename, needed) if file.startswith("ld"))
        process = self.enterContext(subprocess.Popen(
            [self.path(loader), "--library-path", self.place.tree, self.path("sleep"), "60"]))
        self.addCleanup(process.kill)
        for remembered in (0, 1):
            self.assertGreaterEqual(self.scan("--memory", on=())[2], remembered)

    def test_changed_with_times_put_back(self):
        self.remembers()
        self.times_put_back(lambda: self.place.write("file", MARKER))
        self.assertEqual(self.scan(), (1, 1, 0))

    def test_changed_by_a_mapping_that_was_there_before(self):
        if not on_disk(self.place.tree):
            self.skipTest("the directory for temporary files is on no disk")
        self.place.write("file", HARMLESS)
        os.sync()
        with open(self.path(), "r+b") as file, mmap.mmap(file.fileno(), 0) as mapping:
            mapping[0:1] = HARMLESS[:1]  # from here on the page takes writes without a new time
            self.assertEqual(self.scan(), (1, 0, 0))
            self.assertEqual(self.scan(), (1, 0, 1))
            time.sleep(0.02)
            mapping[:] = MARKER
            self.assertEqual(self.scan(), (1, 1, 0))

    def test_gentle_scan_leaves_memory_as_it_was(self):
        if not on_disk(self.place.tree):
            self.skipTest("the directory for temporary files is on no disk")
        self.place.write("file", random.Random(1).randbytes(1 << 20))
        file = os.open(self.path(), os.O_RDONLY)
        self.addCleanup(os.close, file)
        for arguments, kept in ((["--gentle"], "0"), ([], "1048576")):
            os.fsync(file)
            os.posix_fadvise(file, 0, 0, os.POSIX_FADV_DONTNEED)
            self.scan("--no-cache", *arguments)
            held = subprocess.run(["fincore", "-bnro", "RES", self.path()], capture_output=True, text=True)
            self.assertEqual(held.stdout.strip(), kept)

    def test_in_memory_only_files_that_nobody_else_writes(self):
        with tempfile.TemporaryDirectory(dir="/dev/shm") as memory:
            file = pathlib.Path(memory, "file")
            file.write_bytes(HARMLESS)
            file.chmod(0o666)
            self.assertEqual([self.scan(on=(memory,))[2] for _ in range(2)], [0, 0])
            file.chmod(0o644)
            self.assertEqual([self.scan(on=(memory,))[2] for _ in range(2)], [0, 1])

    def test_exchanged_by_rename(self):
        self.remembers()
        before = os.stat(self.path())
        self.place.write("../other", MARKER)
        os.utime(self.place.path("other"), ns=(before.st_atime_ns, before.st_mtime_ns))
        os.rename(self.place.path("other"), self.path())
        self.assertEqual(self.scan(), (1, 1, 0))

    def test_changed_by_another_name(self):
        self.remembers()
        os.link(self.path(), self.place.path("other"))
        self.assertEqual(self.scan(), (1, 0, 0))  # the further name has changed it, too
        self.assertEqual(self.scan(), (1, 0, 1))
        self.times_put_back(lambda: self.place.write("../other", MARKER))
        self.assertEqual(self.scan(), (1, 1, 0))

    def test_other_options_and_limits(self):
        self.place.write("file", commandline.zipped("inside", MARKER))
        for remembered in range(2):
            self.assertEqual(self.scan("--no-archives"), (1, 0, remembered))
        self.assertEqual(self.scan(), (1, 1, 0))
        self.place.configure(b"[Limits]\nMaxFiles = 5\n")
        self.assertEqual(self.scan("--no-archives"), (1, 0, 0))

    def test_new_signatures(self):
        self.remembers()
        self.place.write("../signatures/new.ndb", signature(b"New", HARMLESS[:20]))
        commandline.wait_until(lambda: self.scan()[1] == 1)

    def test_clock_set_back(self):
        self.remembers()
        self.scan(later="+1d")
        self.assertEqual(self.scan(), (1, 0, 0))
        self.assertEqual(self.scan(), (1, 0, 1))

    @unittest.skipUnless(os.geteuid() == 0 and os.path.exists("/dev/loop0"), "needs root and loop devices")
    def test_loop_mount_with_forged_file(self):
        self.scan(on=(self.place.home,))  # starts the service outside of what is mounted below
        self.place.write("file", HARMLESS)
        image, forged, mount = map(os.fsdecode, map(self.place.path, ("image", "forged", "mount")))
        os.mkdir(mount)
        subprocess.run(["mkfs.ext4", "-q", "-d", self.place.tree, image, "8M"], check=True)
        content = pathlib.Path(image).read_bytes()
        self.assertIn(HARMLESS, content)
        pathlib.Path(forged).write_bytes(content.replace(HARMLESS, MARKER))
        found = []
        for one in (image, image, forged):
            mounted = ("unshare", "-m", "sh", "-c", 'mount -o loop,ro "$0" "$1" && shift && exec "$@"', one, mount)
            found.append(self.scan(on=(mount + "/file",), by=mounted))
        self.assertEqual(found, [(1, 0, 0), (1, 0, 0), (1, 1, 0)])

    def test_damaged_or_foreign_store(self):
        self.remembers()
        store = pathlib.Path(os.fsdecode(self.place.path(STORE)))
        whole = store.read_bytes()
        self.assertLessEqual(len(whole), 20 << 20)

        def write(content):
            store.unlink()
            store.write_bytes(content)
            store.chmod(0o600)

        noise = random.Random(1).randbytes(len(whole) - 8192)
        changes = {
            "cut": lambda: os.truncate(store, len(whole) // 2),
            "empty": lambda: os.truncate(store, 0),
            "nothing but zeros": lambda: write(bytes(len(whole))),
            "another key": lambda: write(whole[:8] + bytes(16) + whole[24:]),
            "another time": lambda: write(whole[:64] + bytes(8) + whole[72:]),
            "torn entries": lambda: write(whole[:8192] + noise),
            "entries moved": lambda: write(whole[:8192] + whole[-10_000_000:] + whole[8192:-10_000_000]),
            "others may read": lambda: store.chmod(0o640),
            "two names": lambda: os.link(store, store.parent / "second"),
            "a link": lambda: (store.rename(store.parent / "third"), store.symlink_to("third")),
        }
        if os.geteuid() == 0:
            changes["somebody else's"] = lambda: os.chown(store, 65534, 65534)
        changes["a directory"] = lambda: (store.unlink(), store.mkdir())
        for name, change in changes.items():
            with self.subTest(name):
                change()
                self.assertEqual(self.scan(), (1, 0, 0))
                if name != "a directory":
                    self.assertEqual(self.scan(), (1, 0, 1))
        store.rmdir()
        store.parent.chmod(0o770)
        self.assertEqual([self.scan()[2] for _ in range(2)], [0, 0])

    def test_scans_at_once_and_killed(self):
        names = [f"f{n}" for n in range(300)]
        for name in names:
            self.place.write(name, HARMLESS)
        self.place.write("harmful", MARKER)
        self.place.run()
        for n in range(8):
            running = [self.place.start("%/tree", env=clock("+120")) for _ in range(3)]
            time.sleep(random.Random(n).random() / 10)
            for process in running[n % 2:]:
                process.kill()
            for process in running:
                process.communicate()
        self.assertEqual(self.scan()[:2], (301, 1))
        self.assertEqual(self.scan(), (301, 1, 300))


if __name__ == "__main__":
    unittest.main()
