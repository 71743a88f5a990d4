"""What the tests of the command line programs share: a place for a service and files, and runs of a program."""
import contextlib
import io
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
import zipfile

MARKER = b"a text that stands for something harmful"  # found as Vardo.Marker
TEST_FILE = rb"X5O!P%@AP[4\PZX54(P^)7CC)7}$" + b"EICAR" + b"-STANDARD-ANTIVIRUS-TEST-FILE!$H+H*"


def zipped(name: str, content: bytes) -> bytes:
    """An archive with one compressed member."""
    data = io.BytesIO()
    with zipfile.ZipFile(data, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr(name, content)
    return data.getvalue()


def signature(name: bytes, body: bytes) -> bytes:
    return name + b":0:*:" + body.hex().encode() + b"\n"


def wait_until(condition, seconds: float = 30) -> None:
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError("waited in vain")
        time.sleep(0.01)


class Outcome:
    """What a process that has ended left behind."""

    def __init__(self, process: subprocess.Popen):
        try:
            self.out, self.err = process.communicate(timeout=60)
        finally:
            process.kill()
        self.code = process.returncode


class Place:
    """A service's home, with a directory `tree` of files to scan. The service ends with it."""

    def __init__(self):
        self.home = os.fsencode(tempfile.mkdtemp())
        self.tree = self.path("tree")
        for directory in ("tree", "logs", "signatures"):
            os.mkdir(self.path(directory))
        self.write("../signatures/test.ndb",
                   signature(b"Vardo-Test-File", TEST_FILE) + signature(b"Vardo.Marker", MARKER))
        self.serve(self.path("signatures"))
        self.configure(b"")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.suppress(OSError, ValueError):
            pid = self.service()
            os.kill(pid, signal.SIGTERM)
            wait_until(lambda: not os.path.exists(self.path("qsav.pid")))
        shutil.rmtree(self.home)

    def path(self, name) -> bytes:
        return os.path.join(self.home, os.fsencode(name))

    def write(self, name, content: bytes) -> None:
        """Writes a file below the tree."""
        pathlib.Path(os.fsdecode(os.path.join(self.tree, os.fsencode(name)))).write_bytes(content)

    def read(self, name) -> bytes:
        return pathlib.Path(os.fsdecode(self.path(name))).read_bytes()

    def serve(self, signatures: bytes) -> None:
        """Has the service load the signatures in that directory."""
        self.write("../qsav.conf", b"[path]\nLocalSocketPath=%b\nAVSpidPATH=%b\nSignaturePath=%b\n"
                   b"SystemSignaturePath=none\nRememberPath=%b\n" %
                   (self.path("qsav"), self.path("qsav.pid"), signatures, self.path("remembered")))

    def configure(self, settings: bytes) -> None:
        """Has the scan settings be the usual ones and these, which begin in the section [Scan]."""
        self.write("../vardo.conf", b"[Log]\nLocation=%b\n[Scan]\nActionData=%b\n%b" %
                   (self.path("logs"), self.path("quarantine"), settings))

    def service(self) -> int:
        """The service's process id."""
        return int(self.read("qsav.pid"))

    def workers(self) -> list[int]:
        """The process ids of the workers: children of the service's children, which hold signatures."""
        def children(pid):
            return map(int, pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split())

        return [worker for holder in children(self.service()) for worker in children(holder)]

    def start(self, *arguments, by=(), **options) -> subprocess.Popen:
        """Starts the scanner, by a command if wanted; in its arguments "%" stands for the home.

        Its output is not buffered here: communicate() would lose what readline() read ahead.
        """
        words = [os.fsencode(word).replace(b"%", self.home) for word in arguments]
        return subprocess.Popen([*by, os.environb[b"VARDOSCAN"], b"--engine-config=" + self.path("qsav.conf"),
                                 b"--config=" + self.path("vardo.conf"), *words],
                                **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "bufsize": 0} | options)

    def run(self, *arguments, on=("%/tree",)) -> Outcome:
        return Outcome(self.start(*arguments, *on))

    def objects(self, *arguments) -> list[bytes]:
        """The lines that a run on the tree tells of objects, sorted, without the tree in their names."""
        lines = self.run(*arguments).out.replace(self.tree + b"/", b"").split(b"\n")
        return sorted(lines[:lines.index(b"")])

    def logs(self, location="logs") -> list[pathlib.Path]:
        return list(pathlib.Path(os.fsdecode(self.path(location))).glob("vardo/*"))

    def take_log(self, location="logs") -> bytes:
        """The one scan log, which goes, with "TREE" for the tree."""
        log, = self.logs(location)
        text = log.read_bytes().replace(self.tree, b"TREE")
        log.unlink()
        return text


class CommandLineTest(unittest.TestCase):
    """A test that has a place."""

    def setUp(self):
        self.place = self.enterContext(Place())
