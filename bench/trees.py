"""The five trees that scans are measured on, of this system's own files, made once."""

import io
import itertools
import random
import shutil
import tarfile
import time
import zipfile
from pathlib import Path

import common

DOCUMENTS = (".html", ".htm", ".pdf", ".txt", ".xml", ".svg", ".rst", ".md", ".ps", ".rtf", ".csv", ".js")
MEGABYTE = 1 << 20


def copy(files, folder, wanted, least=0, most=50 * MEGABYTE, count=10**9):
    """Copies files of such sizes until they have `wanted` bytes, or are `count`."""
    total = number = 0
    for path in files:
        size = path.stat().st_size
        if not least <= size <= most:
            continue
        if total >= wanted or number >= count:
            return
        target = folder / f"{number // 500}" / f"{number}-{path.name}"
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(path, target)
        total += size
        number += 1


def small(files, folder, scale):
    repeated = itertools.cycle([path for path in files if path.stat().st_size < 8192])
    copy(repeated, folder, 10**12, count=int(40000 * scale))


def large(files, folder, scale):
    copy(files, folder, 600 * MEGABYTE * scale, least=2 * MEGABYTE, most=90 * MEGABYTE)


def packed(kind, members):
    data = io.BytesIO()
    if kind == "zip":
        with zipfile.ZipFile(data, "w", zipfile.ZIP_DEFLATED) as archive:
            for number, path in enumerate(members):
                archive.writestr(f"{number}/{path.name}", path.read_bytes())
    else:
        with tarfile.open(fileobj=data, mode="w:" + kind) as archive:
            for path in members:
                archive.add(path, path.name)
    return data.getvalue()


def archives(files, folder, scale):
    members = iter(path for path in files if path.stat().st_size < MEGABYTE)
    for number in range(int(120 * scale)):
        kind = ("zip", "gz", "bz2", "xz")[number % 4]
        group = list(itertools.islice(members, 20 + 15 * (number % 10)))
        (folder / f"{number}.{kind}").write_bytes(packed(kind, group))


def documents(files, folder, scale):
    texts = [path for path in files if path.suffix in DOCUMENTS and path.stat().st_size < 2 * MEGABYTE]
    copy(texts, folder, 120 * MEGABYTE * scale)
    for number in range(int(1500 * scale)):
        text = texts[number % len(texts)].read_bytes()
        with zipfile.ZipFile(folder / f"{number}.docx", "w", zipfile.ZIP_DEFLATED) as document:
            document.writestr("[Content_Types].xml", b"<Types/>")
            document.writestr("word/document.xml", b"<w:document>" + text + b"</w:document>")


def make_all(folder, scale=1.0):
    """The trees by name, each below `folder`. They lie there for a minute at least, as files do that people have."""
    every = list(common.regular_files("/usr"))
    random.Random(3).shuffle(every)
    makers = {
        "mixed /usr": lambda files, tree, scale: copy(files, tree, 600 * MEGABYTE * scale),
        "small files": small, "large files": large, "archives": archives, "documents": documents}
    trees = {}
    for name, make in makers.items():
        trees[name] = tree = Path(folder, name.split()[0])
        if not tree.exists():
            partial = tree.with_suffix(".partial")
            shutil.rmtree(partial, ignore_errors=True)
            partial.mkdir(parents=True)
            make(every, partial, scale)
            partial.rename(tree)
    time.sleep(max(0, 65 - (time.time() - max(tree.stat().st_ctime for tree in trees.values()))))
    return trees
