#!/usr/bin/env python3
"""check_lengths.py: no function of src/, tools/ or bench/ is longer than 70 lines, from the one that opens it to its
closing brace. Reads what clang-format has laid out: the brace of a body has a space before it, that of a value none."""
import pathlib
import re
import sys

MOST_LINES = 70
SILENT = re.compile(  # comments, literals, and directives with the lines that continue them
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Fa-f])\'(?:\\.|[^\'\\\n])+\''
    r'|^[ \t]*#(?:\\\n|[^\n])*', re.DOTALL | re.MULTILINE)
ACCESS = re.compile(r"(\s|(public|private|protected):)*")
SCOPE = re.compile(
    r"(template\s*<.*>\s*)?((inline\s+)?namespace\b|extern\b|(class|struct|union|enum)\b[^()]*$)", re.DOTALL)


def functions(text):
    """The first line and the last of each function that stands in a namespace or a class."""
    text = SILENT.sub(lambda found: "\n" * found.group().count("\n"), text)
    declaration = 0  # where the one that is being read begins
    depth, start = 0, None  # of braces in a function or a value; of a function, where it begins
    for found in re.finditer(r"[;{}]", text):
        place, mark = found.start(), found.group()
        if depth:
            depth += {"{": 1, "}": -1, ";": 0}[mark]
            if depth == 0 and start is not None:
                yield text.count("\n", 0, start) + 1, text.count("\n", 0, place) + 1
                declaration, start = found.end(), None
            continue
        begin = ACCESS.match(text, declaration).end()
        head = text[begin:place]
        if mark != "{" or SCOPE.match(head):
            declaration = found.end()
            continue
        depth = 1
        if ("(" in head or "[]" in head) and head.endswith(" ") and not head.endswith("= "):
            start = begin


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    long = []
    for file in sorted(file for folder in ("src", "tools", "bench") for file in (root / folder).rglob("*.*")):
        if file.suffix not in (".h", ".cpp", ".inc"):
            continue
        for first, last in functions(file.read_text()):
            if last - first >= MOST_LINES:
                long.append(f"{file.relative_to(root)}:{first}: a function of {last - first + 1} lines")
    print("\n".join(long), end="\n" if long else "")
    return 1 if long else 0


if __name__ == "__main__":
    sys.exit(main())
