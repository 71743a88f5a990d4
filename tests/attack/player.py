"""Plays attacks, or mishaps, on a package that is installed in namespaces of its own, each in further ones, and says
what became of the product."""
import os
import pathlib
import subprocess
import sys

from place import install, refresh

SURVIVED, BROKEN = 0, 3  # other exit statuses tell that one could not be played
attacks = {}


def attack(name: str):
    """The function is an attack and returns whether the product survived it."""
    def add(function):
        attacks[name] = function
        return function
    return add


def play(name: str) -> int:
    """One attack, in namespaces of its own; the result is the exit status."""
    refresh()
    try:
        survived = attacks[name]()
    except subprocess.TimeoutExpired:
        survived = False
    print(f"{'survived' if survived else 'BROKEN  '}  {name}", flush=True)
    return SURVIVED if survived else BROKEN


def enter(*arguments) -> int:
    """This again, with mounts and processes of its own."""
    return subprocess.run(["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc", sys.executable,
                           os.path.abspath(sys.argv[0]), *arguments], check=False).returncode


def play_all(word: str) -> int:
    outcomes = []
    for name in attacks:
        if word in name:
            outcomes.append(enter("--play", name))
            if outcomes[-1] not in (SURVIVED, BROKEN):
                print(f"NOT PLAYED {name}", flush=True)
    survived, broken = outcomes.count(SURVIVED), outcomes.count(BROKEN)
    print(f"{survived} survived, {broken} broken, {len(outcomes) - survived - broken} not played")
    return int(survived < len(outcomes))


def main(usage: str) -> int:
    words = sys.argv[1:]
    if words[:1] == ["--play"]:
        return play(words[1])
    if words[:1] == ["--all"]:
        install(pathlib.Path(words[1]))
        return play_all(words[2])
    if len(words) not in (1, 2):
        print(usage, file=sys.stderr)
        return 2
    return enter("--all", os.path.abspath(words[0]), *words[1:] or [""])
