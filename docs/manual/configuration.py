#!/usr/bin/env python3
"""configuration.py CONFIGURATION.md DIRECTORY

Writes the manual pages of the configuration files, which say what CONFIGURATION.md says: for each of its chapters
that is called as a file, its text and the chapter "Syntax".
"""
import pathlib
import re
import sys
import textwrap

PAGES = {"qsav.conf": ("qsav.conf", "where Vardo's files are"),
         "vardo.conf": ("vardo.conf", "how Vardo scans"),
         "schedule.conf": ("vardo-schedule.conf", "scheduled scans of Vardo"),
         "updates.conf": ("vardo-updates.conf", "how Vardo updates its signatures")}
FILES = {"qsav.conf": "/opt/Quillstone/etc/qsav.conf", "vardo.conf": "/opt/Quillstone/etc/vardo/vardo.conf",
         "schedule.conf": "/opt/Quillstone/etc/vardo/schedule.conf", "updates.conf": "/opt/Quillstone/etc/updates.conf"}


def plain(text: str) -> str:
    """A text without marks, as a line of mdoc: backslashes escaped, and no macro at its beginning."""
    text = re.sub(r"!?\[([^]]*)\]\([^)]*\)", r"\1", text).replace("`", "").replace("\\", "\\e")
    return re.sub("^(?=[.'])", r"\\&", text.rstrip())


def sentences(text: str) -> list[str]:
    """Lines of at most 79 characters; each sentence begins one."""
    parts = re.split(r"(?<=[.:]) (?=[^a-z])|(?<=[.:]\)) (?=[^a-z])", text)
    return [plain(line) for part in parts for line in textwrap.wrap(part, 76, break_long_words=False,
                                                                    break_on_hyphens=False)]


def table(lines: list[str]) -> list[str]:
    """A list of the keys with what their columns say, the meaning last."""
    rows = [re.split(r"\s*\|\s*", line.strip())[1:-1] for line in lines]
    heads, out = rows[0], [".Bl -tag -width Ds"]
    for row in rows[2:]:
        out.append(".It Li " + ("\\&, ".join(plain(row[0]).split(", "))).replace('"', ""))
        first = row[-1][:1] if re.match(r"\w+,", row[-1]) else row[-1][:1].upper()
        out += sentences(first + row[-1][1:].rstrip(".") + ".")
        out += [f"{head}: {plain(cell)}." for head, cell in zip(heads[1:-1], row[1:-1]) if cell]
    return out + [".El"]


def block(text: str) -> list[str]:
    lines = text.split("\n")
    if text.startswith("!["):
        return []
    if text.startswith("```"):
        return [".Bd -literal -offset indent", *(plain(l) if l.strip() else "" for l in lines[1:-1]), ".Ed"]
    if text.startswith("### "):
        return [".Ss Section " + plain(text[4:]).strip("[]")]
    if text.startswith("|"):
        return table(lines)
    if text.startswith("- "):
        items = re.split(r"\n- ", text[2:])
        return [".Bl -bullet", *(l for item in items for l in (".It", *sentences(" ".join(item.split())))), ".El"]
    return [".Pp", *sentences(" ".join(text.split()))]


def body(chapter: str) -> list[str]:
    blocks = re.findall(r"```.*?```|(?:[^\n]+(?:\n|$))+", chapter, re.S)
    lines = [line for text in blocks for line in block(text.strip())]
    return [line for i, line in enumerate(lines)  # no paragraph where a section or a list begins anyway
            if line != ".Pp" or (i > 0 and not lines[i - 1].startswith(".Ss"))]


def main() -> None:
    source, directory = map(pathlib.Path, sys.argv[1:])
    chapters = dict(part.split("\n", 1) for part in source.read_text().split("\n## ")[1:])
    for file, (page, meaning) in PAGES.items():
        others = sorted(name for name, _ in PAGES.values() if name != page)
        lines = [".Dd November 22, 2026", f".Dt {page.upper()} 5", ".Os", ".Sh NAME", f".Nm {page}",
                 f".Nd {meaning}", ".Sh SYNOPSIS", f".Pa {FILES[file]}", ".Sh DESCRIPTION", *body(chapters[file]),
                 ".Sh SYNTAX", *body(chapters["Syntax"]), ".Sh SEE ALSO", ".Xr vardogui 1 ,", ".Xr vardoscan 1 ,",
                 *(f".Xr {name} 5 ," for name in others), ".Xr updatenow 8"]
        (directory / f"{page}.5").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
