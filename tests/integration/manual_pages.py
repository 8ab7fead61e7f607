"""Manual pages as their readers see them: sections, and examples that can be run."""

import dataclasses
import pathlib
import re

FOLDER = pathlib.Path(__file__).parents[2] / "docs/man"
SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "FILES", "EXAMPLES", "SEE ALSO"]
ESCAPES = {r"\-": "-", r"\(aq": "'", r"\(dq": '"', r"\e": "\\", r"\fB": "", r"\fP": "", r"\fI": "", r"\fR": ""}


def pages():
    return sorted(path for path in FOLDER.iterdir() if re.search(r"\.[1-8]$", path.name))


def sections(page):
    """The headings of a page with the lines below them, in order."""
    found = {}
    lines = []
    for line in page.read_text(encoding="utf-8").splitlines():
        if line.startswith(".SH "):
            lines = found.setdefault(line[4:].strip('"'), [])
        else:
            lines.append(line)
    return found


def plain(line):
    """A line of roff without its escapes."""
    return re.sub(r"\\(?:-|e|\(aq|\(dq|f[BPIR])", lambda match: ESCAPES[match.group()], line)


@dataclasses.dataclass
class Example:
    """A block of a page: commands, or the content of a file when `file` names one."""

    text: str
    file: str | None


def examples(page):
    """The blocks of the section EXAMPLES."""
    found = []
    block = None
    file = None
    for line in sections(page)["EXAMPLES"]:
        if line.startswith('.\\" file: '):
            file = line.removeprefix('.\\" file: ')
        elif line == ".EX":
            block = []
        elif line == ".EE":
            found.append(Example("\n".join(block) + "\n", file))
            block = file = None
        elif block is not None:
            block.append(plain(line))
    return found
