#!/usr/bin/env python3
"""Checks that the docs cannot rot and that the umbrella headers are complete.

Every ```cpp, ```cmake and ```qml block of README.md and docs/*.md must follow a marker line
    <!-- snippet: examples/<dir>/<file>#<tag> -->   (the lines between `// [tag]` markers,
                                                      `# [tag]` in CMake files, `// [tag]` in QML;
                                                      several regions of one tag are joined)
    <!-- snippet: examples/<dir>/<file> -->         (the whole file)
and equal that excerpt, dedented. The examples are built and run by scripts/test.sh, so the
code in the docs is compiled. `--update` rewrites the blocks from the sources instead.

Every public header (what the install rule copies: *.h of the library folders, without *_p.h
and the demo, gallery and workbench folders) must be included by exactly one of the umbrella
headers include/Velmora/Core, Widgets, Host, Audio, Net and Quick.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
MARKER = re.compile(r"^<!-- snippet: (examples/[^#\s]+)(?:#([\w-]+))? -->$")
FENCE = re.compile(r"^```(cpp|c\+\+|cmake|qml)\s*$")
HEADER_FOLDERS = ["framework", "kernels", "stream", "analysis", "controls", "indicators", "host", "quick"]
INTERNAL = {"demo", "gallery", "workbench"}
UMBRELLAS = ["Core", "Widgets", "Host", "Audio", "Net", "Quick"]


def dedent(lines):
    indents = [len(l) - len(l.lstrip()) for l in lines if l.strip()]
    cut = min(indents, default=0)
    return [l[cut:].rstrip() for l in lines]


def excerpt(path, tag):
    """The lines of `path` between the `// [tag]` marker pairs, or the whole file."""
    if not path.is_file():
        raise ValueError(f"{path.relative_to(ROOT)} does not exist")
    lines = path.read_text(encoding="utf-8").splitlines()
    if tag is None:
        return [l.rstrip() for l in lines]
    marks = [i for i, l in enumerate(lines) if l.strip() in (f"// [{tag}]", f"# [{tag}]")]
    if not marks or len(marks) % 2:
        raise ValueError(f"{path.relative_to(ROOT)}: tag [{tag}] needs pairs of markers, found {len(marks)}")
    out = []
    for begin, end in zip(marks[::2], marks[1::2]):
        out += dedent(lines[begin + 1:end])
    return out


def check_doc(doc, update):
    errors = []
    lines = doc.read_text(encoding="utf-8").splitlines()
    out, i = [], 0
    while i < len(lines):
        out.append(lines[i])
        if not FENCE.match(lines[i]):
            i += 1
            continue
        end = i + 1
        while end < len(lines) and lines[end].strip() != "```":
            end += 1
        where = f"{doc.relative_to(ROOT)}:{i + 1}"
        prev = next((l.strip() for l in reversed(lines[:i]) if l.strip()), "")
        marker = MARKER.match(prev)
        block = lines[i + 1:end]
        if not marker:
            errors.append(f"{where}: a code block without a snippet marker in the line above it")
        else:
            try:
                want = excerpt(ROOT / marker.group(1), marker.group(2))
                if update:
                    block = want
                elif want != [l.rstrip() for l in block]:
                    first = next((k for k, (a, b) in enumerate(zip(want, block)) if a != b.rstrip()),
                                 min(len(want), len(block)))
                    errors.append(f"{where}: differs from {prev[14:-4]} at block line {first + 1}")
            except ValueError as e:
                errors.append(f"{where}: {e}")
        out += block
        i = end
    if update:
        doc.write_text("\n".join(out) + "\n", encoding="utf-8")
    return errors


def check_umbrellas():
    errors = []
    public = set()
    for folder in HEADER_FOLDERS:
        for h in (ROOT / folder).rglob("*.h"):
            rel = h.relative_to(ROOT)
            if not h.name.endswith("_p.h") and not INTERNAL & set(rel.parts):
                public.add(rel.as_posix())
    included = {}
    for name in UMBRELLAS:
        text = (ROOT / "include" / "Velmora" / name).read_text(encoding="utf-8")
        for inc in re.findall(r'^#include "([^"]+\.h)"', text, re.M):
            included.setdefault(inc, []).append(name)
    for h in sorted(public):
        if len(included.get(h, [])) != 1:
            errors.append(f"{h}: in the umbrella headers {included.get(h, [])}, expected in exactly one")
    for h in sorted(set(included) - public):
        errors.append(f"include/Velmora/{included[h][0]}: {h} is not a public header")
    return errors


def main():
    update = "--update" in sys.argv[1:]
    docs = [ROOT / "README.md"] + sorted((ROOT / "docs").glob("*.md"))
    errors = [e for d in docs for e in check_doc(d, update)] + check_umbrellas()
    for e in errors:
        print(e, file=sys.stderr)
    if errors:
        return 1
    print(f"docs: every cpp, cmake and qml block of {len(docs)} files is an example excerpt; umbrella headers complete")
    return 0


if __name__ == "__main__":
    sys.exit(main())
