#!/usr/bin/env python3
"""What the scanner finds in containers that libclamav alone leaves closed, and tells where it cannot look."""
import bz2
import gzip
import io
import lzma
import os
import pathlib
import struct
import subprocess
import sys
import tarfile
import tempfile
import unittest
import zipfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))

import handmade
from commandline import MARKER, CommandLineTest

FILLER = os.urandom(3000)  # so that a cut falls into something


def by(*command):
    """Packs by a program that reads from one pipe and writes to another."""
    return lambda content: subprocess.run(command, input=content, stdout=subprocess.PIPE, check=True).stdout


zstd, lz4 = by("zstd", "-qc"), by("lz4", "-qc")


def tar(name, content):
    data = io.BytesIO()
    with tarfile.open(fileobj=data, mode="w") as archive:
        for member, text in (("a-filler", FILLER), (name, content)):
            info = tarfile.TarInfo(member)
            info.size = len(text)
            archive.addfile(info, io.BytesIO(text))
    return data.getvalue()


def ar(*members):
    return b"!<arch>\n" + b"".join(
        b"%-16s%-12d%-6d%-6d%-8s%-10d`\n" % (name, 0, 0, 0, b"100644", len(content)) + content + b"\n" * (len(content) % 2)
        for name, content in members)


def zipped(content, method=zipfile.ZIP_DEFLATED, large=False):
    """Two members, the second of which is packed in an unusual way."""
    data = io.BytesIO()
    with zipfile.ZipFile(data, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("a-filler", FILLER)
        member = zipfile.ZipInfo("folder/x")
        member.compress_type = method
        with archive.open(member, "w", force_zip64=large) as file:
            file.write(content)
    return data.getvalue()


def cpio(name, content):
    def member(path, data):
        return b"070707" + b"%06o" * 7 % (0, 0, 0o100644, 0, 0, 1, 0) + b"%011o%06o%011o" % (
            0, len(path) + 1, len(data)) + path + b"\0" + data

    return member(name, content) + member(b"TRAILER!!!", b"")


def squashfs(content):
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, "in/folder").mkdir(parents=True)
        pathlib.Path(folder, "in/folder/x").write_bytes(content)
        subprocess.run(["mksquashfs", folder + "/in", folder + "/out", "-quiet", "-no-progress"], check=True,
                       stdout=subprocess.DEVNULL)
        return pathlib.Path(folder, "out").read_bytes()


OBJECT_FILE = b"\x7fELF\2\1\1" + bytes(9) + struct.pack("<H", 1) + bytes(46)

# name: (how it is made of a content, the name of the member)
CONTAINERS = {
    "deb": (lambda content: ar((b"debian-binary", b"2.0\n"), (b"data.tar.zst", zstd(tar("folder/x", content)))),
            "data.tar.zst=>folder/x"),
    "library": (lambda content: ar((b"x.o", OBJECT_FILE), (b"y.o", OBJECT_FILE), (b"x", content)), "x"),
    "lzma.zip": (lambda content: zipped(content, zipfile.ZIP_LZMA), "folder/x"),
    "zip64": (lambda content: zipped(content, large=True), "folder/x"),
    "several.bz2": (lambda content: bz2.compress(FILLER) + bz2.compress(content), ""),
    "several.tar.gz": (lambda content: gzip.compress(tar("x", b"none") + tar("folder/x", content)), "folder/x"),
    "mail": (lambda content: handmade.mail_in_mail(b"x.tar.lz4", lz4(tar("x", content))), "unknown=>x.tar.lz4=>x"),
    "lzma": (lambda content: lzma.compress(content, lzma.FORMAT_ALONE), ""),
    "rar4": (lambda content: handmade.rar4(b"folder/x", bz2.compress(content)), "folder/x"),
    "rar5": (lambda content: handmade.rar5("folder/ä".encode(), bz2.compress(content)), "folder/ä"),
    "initrd": (lambda content: cpio(b"microcode", FILLER) + bytes(500) + zstd(cpio(b"x", content)), "x"),
    "script": (lambda content: b"#!/bin/sh\ntail -n +3 $0 | tar xJ\n" + lzma.compress(tar("folder/x", content)), "folder/x"),
    "script.tar": (lambda content: b"#!/bin/sh\ntail -n +3 $0 | tar x\n" + tar("folder/x", content), "folder/x"),
    "picture.gif": (lambda content: b"GIF89a\1\0\1\0\0\0\0;" + handmade.rar5(b"folder/x", bz2.compress(content)), "folder/x"),
    "AppImage": (lambda content: pathlib.Path("/bin/true").read_bytes() + squashfs(content), "folder/x"),
}


class TestContainers(CommandLineTest):
    def test_finds_what_is_in_them_and_nothing_else(self):
        self.place.write("number", b"070701")
        expected = ["number CLEAN"]
        for name, (make, inner) in CONTAINERS.items():
            self.place.write(name, make(FILLER + MARKER))
            self.place.write(name + "-harmless", make(FILLER))
            expected += [f"{name}{'=>' if inner else ''}{inner} INFECTED [Vardo.Marker]", f"{name}-harmless CLEAN"]
        self.assertEqual(self.place.objects("--all"), sorted(line.encode() for line in expected))

    def test_tells_what_is_cut_short(self):
        whole = {
            "zip": zipped(MARKER), "gz": gzip.compress(FILLER), "bz2": bz2.compress(FILLER), "tar": tar("x", FILLER * 4),
            "xz": lzma.compress(FILLER), "zst": zstd(FILLER), "deb": CONTAINERS["deb"][0](MARKER),
            "cpio": cpio(b"x", FILLER), "rar5": handmade.rar5(b"x", FILLER), "squashfs": squashfs(FILLER),
        }
        for name, content in whole.items():
            self.place.write(name, content[:len(content) // 2])
        lines = self.place.objects("--all")
        self.assertEqual(len(lines), len(whole))
        for line in lines:
            self.assertRegex(line, rb"^\w+ ERROR \(not (wholly )?scanned: its [\w ]+ container is (damaged or )?cut short")

    def test_tells_what_it_cannot_open(self):
        place = self.place
        place.write("lzo", b"\x89LZO\0\r\n\x1a\n" + FILLER)
        place.write("locked4", handmade.rar4(b"x", FILLER, 0x8004))
        place.write("locked5", handmade.rar5_locked(b"x", FILLER))
        place.write("xz", lzma.compress(FILLER, filters=[{"id": lzma.FILTER_LZMA2, "dict_size": 1 << 30}]))
        # A sanitizer's memory cannot be bounded, so that the scanner itself ends there.
        xz = b"not wholly scanned: needs too much memory to be unpacked"
        if "TSAN_OPTIONS" in os.environ or "ASAN_OPTIONS" in os.environ:
            xz = b"not scanned: the scanner failed on this file"
        self.assertEqual(place.objects("--all"), [
            b"locked4=>x ENCRYPTED [Heuristics.Encrypted.rar]", b"locked5=>x ENCRYPTED [Heuristics.Encrypted.rar]",
            b"lzo ERROR (not scanned: its lzop container cannot be opened)",
            b"xz ERROR (%b)" % xz])
        self.assertIn(b"lzo CLEAN", place.objects("--all", "--no-archives"))

    def test_keeps_to_the_limits(self):
        place = self.place
        place.configure(b"[Limits]\nMaxFileMB=1\nMaxScanMB=4\nMaxFiles=20\nMaxRecursion=5\nMaxSeconds=2\nWorkers=1\n")
        deep = b"harmless"
        for _ in range(5):
            deep = ar((b"x", deep))
        megabyte = bytes(900_000)
        place.write("deep", deep)
        place.write("many", ar(*[(b"x%d" % n, b"harmless") for n in range(30)]))
        place.write("large", zstd(bytes(2 << 20)))
        place.write("sum", ar(*[(b"x%d" % n, zstd(megabyte)) for n in range(8)]))
        self.assertEqual(place.objects(), [
            b"deep ERROR (not wholly scanned: nested deeper than 5 levels)",
            b"large ERROR (not wholly scanned: a part is larger than 1 MB)",
            b"many ERROR (not wholly scanned: holds more than 20 files)",
            b"sum ERROR (not wholly scanned: holds more than 4 MB)"])


if __name__ == "__main__":
    unittest.main()
