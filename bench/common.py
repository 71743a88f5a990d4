"""What the benchmarks share: a tree of real files, a large signature set, timing."""

import hashlib
import os
import random
import shutil
import subprocess
import time
from pathlib import Path


def regular_files(root):
    for folder, names, files in os.walk(root):
        names.sort()
        for name in sorted(files):
            path = Path(folder, name)
            if path.is_file() and not path.is_symlink():
                yield path


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
    if bodies == 0:  # an empty file is a bad one
        return folder
    with open(folder / "bench.ndb", "w") as out:
        for n in range(bodies):
            body = numbers.randbytes(24).hex()
            out.write(f"Bench.Body-{n}:{numbers.choice((0, 1, 3))}:*:{body}\n")
    return folder


def make_heavy_signatures(folder, bodies, logical):
    """Writes signatures that are like real ones in what they cost: cut from files of this system, but for their
    last bytes, so that they begin to match again and again."""
    folder = Path(folder)
    if folder.exists():
        return folder
    numbers = random.Random(4)
    files = [path for path in regular_files("/usr") if 4096 < path.stat().st_size < 1 << 20]
    numbers.shuffle(files)

    def cuts():
        while True:
            for path in files:
                content = path.read_bytes()
                for _ in range(40):
                    start = numbers.randrange(len(content) - 64)
                    body = content[start : start + numbers.randrange(12, 48)]
                    if len(set(body)) > 6:
                        yield (body[:-4] + numbers.randbytes(4)).hex()

    cut = cuts()
    partial = make_signatures(folder.with_suffix(".partial"), 500000, 0)
    with open(partial / "heavy.ndb", "w") as out:
        for n in range(bodies):
            out.write(f"Bench.Cut-{n}:{numbers.choice((0, 0, 1, 3, 6, 7))}:*:{next(cut)}\n")
    with open(partial / "heavy.ldb", "w") as out:
        for n in range(logical):
            kind = numbers.choice((0, 1, 6))
            parts = ";".join(next(cut) for _ in range(3))
            out.write(f"Bench.Logical-{n};Engine:51-255,Target:{kind};(0&1)|(1&2);{parts}\n")
    partial.rename(folder)
    return folder


def median_of(times, measure):
    return sorted(measure() for _ in range(times))[times // 2]


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
