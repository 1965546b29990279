#!/usr/bin/env python3
"""Follows the links of all Markdown files to files and headings of the tree, and paths in backquotes."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)\)")
# Paths of this tree as texts name them; the rest of what stands in backquotes is code.
NAMED = re.compile(r"`((?:[a-z]+/)+(?:[A-Za-z0-9_-]+\.[a-z]+)?|scripts/[a-z-]+)[ `]")


def anchors(path):
    """Gives the anchors of a file's headings, as web hosts of repositories make them."""
    found = set()
    for line in path.read_text(encoding="utf-8").split("\n"):
        if line.startswith("#"):
            text = line.lstrip("#").strip().lower()
            found.add(re.sub(r"[^\w\- ]", "", text).replace(" ", "-"))
    return found


def faults(path):
    text = re.sub(r"^```.*?^```$", "", path.read_text(encoding="utf-8"), flags=re.S | re.M)
    for target in LINK.findall(text):
        if "://" in target:
            continue
        name, _, anchor = target.partition("#")
        file = (path.parent / name).resolve() if name else path
        if not file.exists() or (anchor and anchor not in anchors(file)):
            yield target
    for name in NAMED.findall(text):
        built = name.startswith("build/")
        if not built and not (ROOT / name).exists() and not (path.parent / name).exists():
            yield name


def main():
    documents = [ROOT / "README.md", *ROOT.glob("docs/**/*.md"), *ROOT.glob("examples/**/*.md")]
    broken = [f"{path.relative_to(ROOT)}: {fault}" for path in documents for fault in faults(path)]
    print("\n".join(broken) or f"all links of {len(documents)} files lead somewhere")
    return 1 if broken or len(documents) < 10 else 0


if __name__ == "__main__":
    sys.exit(main())
