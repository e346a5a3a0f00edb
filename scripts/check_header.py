#!/usr/bin/env python3
"""Checks that tools can read the comments of include/tarvo.h: every function says what it takes, what it
returns, who owns that, and which codes it fails with, in a comment that can be read alone."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
HEADER = ROOT / "include" / "tarvo.h"
WIDTH = 110

# What sends the reader to another comment for something that belongs into this one.
BORROWED = re.compile(
    r"\bthe same (for|as|from|to|with|without)\b|\botherwise like\b|\bfails? like\b|\blike one\b|\blikewise\b"
    r"|\b(like|as for|as by|as with|as in) tv_|\bas above\b", re.IGNORECASE)
OWNERSHIP = re.compile(r"\bowned by\b|\bowns\b|\bheld by\b|\bfree it with\b|\bstatic\b|\byour pointer\b")
WRITTEN = re.compile(r"(size_t|long|int|double|tv_number_t) ?\*")  # what a parameter is that takes a result
FAILURE = re.compile(r"- (tv_status_\w+(?:, tv_status_\w+)*): \S")

problems = []


def report(line, text):
    problems.append((line, text))


class Comment:
    def __init__(self, first_line, raw):
        self.first = first_line
        self.lines = [re.sub(r"^\s*(\* ?)?", "", line, count=1) if i else line
                      for i, line in enumerate(re.sub(r"^/\*\* ?| *\*/$", "", raw).split("\n"))]
        self.text = " ".join(" ".join(self.lines).split())
        self.last = first_line + len(self.lines) - 1

    def line_of(self, words):
        return next((self.first + i for i, line in enumerate(self.lines) if words in line), self.first)

    def failures(self):
        """The rows below "@par Failures" with their lines."""
        rows, inside = [], False
        for number, line in enumerate(self.lines, self.first):
            if inside and line.startswith("- "):
                rows.append([number, line])
            elif inside and line.startswith("  ") and rows:
                rows[-1][1] += " " + line.strip()
            inside = inside or line == "@par Failures"
        return rows


def check_parameters(comment, line, name, parameters):
    wanted = [re.search(r"\w+$", parameter).group(0) for parameter in parameters if parameter != "void"]
    found = re.findall(r"^@param(\[\S+\])? (\w+)( +\S)?", "\n".join(comment.lines), re.MULTILINE)
    if [word for _, word, _ in found] != wanted:
        return report(line, f"{name}: @param for {[word for _, word, _ in found]}, but it takes {wanted}")
    for (direction, word, text), parameter in zip(found, parameters):
        if not text:
            report(line, f"{name}: nothing is said about {word}")
        if WRITTEN.match(parameter) and direction != "[out]":
            report(line, f"{name}: {word} is written to, so @param[out]")


def check_result(comment, line, name, result):
    said = re.search(r"@return (.*?)(?= @|$)", comment.text)
    if bool(said) != (result != "void"):
        report(line, f"{name}: " + ("@return, but it returns nothing" if said else "no @return"))
    elif said and result.endswith("*") and not OWNERSHIP.search(said.group(1)):
        report(line, f"{name}: @return does not say who owns the result")


def check_text(comment, codes):
    borrowed = BORROWED.search(comment.text)
    if borrowed:
        report(comment.line_of(borrowed.group(0).split()[0]), f'"{borrowed.group(0)}": say it here')
    for number, row in comment.failures():
        match = FAILURE.match(row)
        if not match or not codes.issuperset(match.group(1).split(", ")):
            report(number, 'a failure is a row "- tv_status_code: when"')


def check_enumerators(lines, documented):
    inside = False
    for number, line in enumerate(lines, 1):
        inside = line.startswith(("typedef TV_INT_ENUM {", "enum {")) or (inside and not line.startswith("}"))
        if inside and re.match(r"\s+tv_\w+", line) and number - 1 not in documented:
            report(number, f"{line.strip().rstrip(',')} has no comment")


def declarations(source):
    """(line, result, name, parameters) of each function and of each type of functions."""
    pattern = r"^(?:TV_API ([^;(]*?)(tv_\w+)|typedef (\w+) \(\*(tv_\w+)\))\(([^;]*)\);"
    for match in re.finditer(pattern, source, re.MULTILINE):
        parameters = [" ".join(word.split()) for word in match.group(5).split(",")]
        yield (source.count("\n", 0, match.start()) + 1, (match.group(1) or match.group(3)).strip(),
               match.group(2) or match.group(4), parameters)


def check_groups(comments, functions):
    """Every function stands inside one group, and the contents list the groups in their order."""
    events = [(line, "function", name) for line, _, name, _ in functions]
    for comment in comments:
        title = re.search(r"@defgroup \w+ (.*)", "\n".join(comment.lines))
        if title:
            events.append((comment.first, "begin", title.group(1)))
        elif "@}" in comment.lines[0]:
            events.append((comment.first, "end", ""))
    titles, group = [], None
    for line, event, name in sorted(events):
        if event == "function":
            if not group:
                report(line, f"{name} stands in no group")
            continue
        if bool(group) == (event == "begin"):
            report(line, f"groups do not follow one another here: {group}, {name}")
        group = name or None
        titles += [name[0].lower() + name[1:]] if name else []
    if f"Contents, in this order: {'; '.join(titles)}." not in comments[0].text:
        report(comments[0].line_of("Contents"), f"the contents are: {'; '.join(titles)}.")


def main():
    source = HEADER.read_text(encoding="utf-8")
    comments = [Comment(source.count("\n", 0, match.start()) + 1, match.group(0))
                for match in re.finditer(r"/\*\*.*?\*/", source, re.DOTALL)]
    by_last_line = {comment.last: comment for comment in comments}
    functions = list(declarations(source))
    for line, result, name, parameters in functions:
        comment = by_last_line.get(line - 1)
        if not comment:
            report(line, f"{name} has no comment")
            continue
        check_parameters(comment, line, name, parameters)
        check_result(comment, line, name, result)
    for comment in comments:
        check_text(comment, set(re.findall(r"^  (tv_status_\w+) = \d+", source, re.MULTILINE)))
    check_enumerators(source.split("\n"), by_last_line)
    check_groups(comments, functions)
    exported = (ROOT / "scripts" / "exports.txt").read_text(encoding="utf-8").split()
    for name in sorted(set(exported) - {name for _, _, name, _ in functions}):
        report(1, f"{name} of exports.txt is not declared")
    for number, line in enumerate(source.split("\n"), 1):
        if len(line) > WIDTH:
            report(number, f"{len(line)} characters, at most {WIDTH}")
    for line, text in sorted(problems):
        print(f"include/tarvo.h:{line}: {text}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
