"""What the benchmarks share: a tree of real files, a large signature set, timing."""

import hashlib
import os
import random
import shutil
import subprocess
import time
from pathlib import Path


def real_files(roots, wanted_files, wanted_bytes):
    """Regular files below `roots`, in a fixed mixture, until both wishes are met."""
    found = []
    for root in roots:
        for folder, names, files in os.walk(root):
            names.sort()
            found += [Path(folder, name) for name in sorted(files)]
    random.Random(1).shuffle(found)
    chosen, total = [], 0
    for path in found:
        if len(chosen) >= wanted_files and total >= wanted_bytes:
            break
        if path.is_symlink() or not path.is_file():
            continue
        size = path.stat().st_size
        if size > 50 << 20:
            continue
        chosen.append(path)
        total += size
    return chosen


def make_tree(folder, wanted_files, wanted_bytes):
    """Copies real files of this system below `folder`, once."""
    folder = Path(folder)
    if folder.exists():
        return folder
    partial = folder.with_suffix(".partial")
    shutil.rmtree(partial, ignore_errors=True)
    for path in real_files(["/usr"], wanted_files, wanted_bytes):
        target = partial / path.relative_to("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(path, target)
    partial.rename(folder)
    return folder


def make_signatures(folder, hashes, bodies):
    """Writes a set of made-up hash and body signatures, large as a public set is large."""
    folder = Path(folder)
    if folder.exists():
        return folder
    folder.mkdir(parents=True)
    numbers = random.Random(2)
    with open(folder / "bench.hdb", "w") as out:
        for n in range(hashes):
            digest = hashlib.md5(str(n).encode()).hexdigest()
            out.write(f"{digest}:{numbers.randrange(1000, 2000000)}:Bench.Hash-{n}\n")
    with open(folder / "bench.ndb", "w") as out:
        for n in range(bodies):
            body = numbers.randbytes(24).hex()
            out.write(f"Bench.Body-{n}:{numbers.choice((0, 1, 3))}:*:{body}\n")
    return folder


def describe(tree):
    sizes = [p.stat().st_size for p in Path(tree).rglob("*") if p.is_file() and not p.is_symlink()]
    return f"{len(sizes)} files, {sum(sizes) / (1 << 20):.0f} MB"


def seconds(command, accepted=(0,), **options):
    """Wall-clock seconds of one run of `command`."""
    start = time.monotonic()
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, **options)
    passed = time.monotonic() - start
    if done.returncode not in accepted:
        raise SystemExit(f"{command[0]} failed ({done.returncode}): {done.stderr.decode(errors='replace')[-500:]}")
    return passed


def best_of(times, measure):
    return min(measure() for _ in range(times))
