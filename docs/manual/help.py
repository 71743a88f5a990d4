#!/usr/bin/env python3
"""help.py TOUR.md PAGE

Writes the tour as the web page that the window opens where no server has its help, with links to its pictures
beside it.
"""
import html
import pathlib
import re
import sys

HEAD = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>{title}</title>
<style>
body {{ max-width: 46em; margin: 2em auto; padding: 0 1em; font: 16px/1.5 sans-serif; color: #123; }}
h1, h2 {{ color: #07548b; }}
img {{ display: block; max-width: 100%; margin: 1em 0; }}
</style>
</head>
<body>
"""


def inline(text: str) -> str:
    text = html.escape(text, quote=False)
    text = re.sub(r"!\[([^]]*)\]\(([^)]*)\)", r'<img src="\2" alt="\1">', text)
    text = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", text)  # the other pages are not here
    return re.sub(r"`([^`]*)`", r"<code>\1</code>", text)


def block(text: str) -> str:
    heading = re.match(r"(#+) (.*)", text)
    if heading:
        level = len(heading[1])
        return f"<h{level}>{inline(heading[2])}</h{level}>"
    if text.startswith("- "):
        return "<ul>" + "".join(f"<li>{inline(item)}</li>" for item in re.split(r"\n- ", text[2:])) + "</ul>"
    return inline(text) if text.startswith("![") else f"<p>{inline(text)}</p>"


def main() -> None:
    tour, page = map(pathlib.Path, sys.argv[1:])
    blocks = [part.strip() for part in tour.read_text().split("\n\n") if part.strip()]
    pictures = {path.name for path in tour.parent.glob("*.png")}  # one may be yet to be taken
    blocks = [part for part in blocks if not part.startswith("![") or part[part.index("(") + 1:-1] in pictures]
    title = blocks[0].lstrip("# ")
    page.write_text(HEAD.format(title=f"Vardo: {title}") + "\n".join(map(block, blocks)) + "\n</body>\n</html>\n")


if __name__ == "__main__":
    main()
