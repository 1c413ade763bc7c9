#!/usr/bin/env python3
"""Links of documents that lead nowhere.

    links.py FOLDER

prints those of all documents in a folder, which has to hold all that they link to.
"""
import pathlib
import re
import sys

from markdown import Document


def lost_links(document, folder):
    """(line, what is wrong) of each link that leads to no file below the folder, or no heading."""
    for target, line in document.links():
        if re.match(r"\w+:", target):
            continue
        path, _, anchor = target.partition("#")
        place = document.path.parent / path if path else document.path
        if not place.exists() or not place.resolve().is_relative_to(folder.resolve()):
            yield line, f"{target} leads nowhere"
        elif anchor and anchor not in Document(place).anchors():
            yield line, f"{target}: there is no such heading"


def lost_links_below(folder):
    for path in sorted(folder.rglob("*.md")):
        for line, fault in lost_links(Document(path), folder):
            yield f"{path.relative_to(folder)}:{line}: {fault}"


def main():
    folder = pathlib.Path(sys.argv[1])
    pages = len(list(folder.rglob("*.md")))
    faults = list(lost_links_below(folder))
    print("\n".join(faults) or f"{pages} documents, no link leads nowhere")
    return 0 if pages and not faults else 1


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main())
