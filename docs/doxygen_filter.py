#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Turns the public headers' plain comments into Doxygen's for the reference; the headers stay as they are.

usage: doxygen_filter.py FILE

What a header writes                          what Doxygen reads
/* SPDX-... (before all else)                  nothing
/* name.h - what it is. (first comment)       the file's page
/* --- Title ---- (and text below it)         a group of functions with that title
/* Text directly above a declaration          its description; also of the declarations that follow without a gap
 * name  in  text   (aligned, two spaces)     a parameter
 * Returns ...      (a paragraph)             the results
 *   indented lines                           code
declaration; /* text                          the description of that enumerator or field

Markdown files pass with their links to files outside the reference made plain.
"""
import pathlib
import re
import sys

PARAMETER = re.compile(r"(\w+(?:, \w+)*) {2,}(?:(in/out|in|out)(?: {2,}|$))?(\S.*)?$")
COMMENT = re.compile(r"/\*(?!\*).*?\*/", re.DOTALL)


def escaped(text):
    """Prose with the characters that mean something to Doxygen made plain, except inside backticks."""
    parts = re.split(r"(`[^`]*`)", text)
    parts[::2] = [re.sub(r"([\\@<>#&%])", r"\\\1", part) for part in parts[::2]]
    return "".join(parts)


def body_lines(comment):
    """The lines of a comment without its frame, indents relative to its text."""
    first, *rest = comment[2:-2].rstrip().split("\n")
    return [first.strip()] + [re.sub(r"^\s*\* ?", "", line) for line in rest]


def marked_up(lines, parameters):
    """Lines of prose, code and aligned arguments as Doxygen commands."""
    out, mode = [], "text"
    for line in lines:
        here = len(line) - len(line.lstrip())
        found = PARAMETER.match(line) if parameters else None
        if mode == "code" and line.strip() and here == 0:
            out.append("@endcode")
            mode = "text"
        if mode == "code":
            out.append(line)
        elif found and (mode == "parameters" or not out or not out[-1].strip()):
            direction = {"in": "[in]", "out": "[out]", "in/out": "[in,out]", None: ""}[found[2]]
            out.append(f"@param{direction} {found[1].replace(' ', '')} {escaped(found[3] or '')}")
            mode = "parameters"
        elif mode == "parameters" and here > 0:
            out.append(escaped(line.strip()))
        elif here > 0 and mode == "text" and (not out or not out[-1].strip() or out[-1].endswith(":")):
            out += ["@code{.c}", line]
            mode = "code"
        else:
            mode = "text"
            result = re.match(r"Returns? (.*)", line)
            out.append(f"\n@return {escaped(result[1])}" if result else escaped(line))
    if mode == "code":
        out.append("@endcode")
    return out


def framed(lines):
    return "/** " + "\n".join(lines) + "\n*/"


def converted(text):
    """The header's text with its comments marked up."""
    out, at, group_open, first = [], 0, False, True
    for match in COMMENT.finditer(text):
        before, after = text[at:match.start()], text[match.end():]
        out.append(repeated(before, out))
        at = match.end()
        lines = body_lines(match[0])
        same_line = text[text.rfind("\n", 0, match.start()) + 1:match.start()].strip()
        describes = re.match(r"\n(?!\n|#endif)", after)
        title = re.match(r"-{3,} (.*?) -{3,}$", lines[0])
        if first:
            out.append(framed(["@file", "@brief " + escaped(lines[0].split(" - ", 1)[-1])] + marked_up(lines[1:], False)))
            first = False
        elif title:
            body = marked_up(lines[1:], False)
            out += ["/** @} */\n"] if group_open else []
            out.append(framed(["@name " + escaped(title[1])] + ([] if describes else body)) + "\n/** @{ */")
            out += ["\n" + framed(body)] if describes else []
            group_open = True
        elif same_line.startswith("#") and not same_line.startswith("#define"):
            out.append(match[0])
        elif same_line:
            out.append("/**< " + " ".join(escaped(line) for line in lines) + " */")
        elif describes:
            out.append(framed(marked_up(lines, "(" in after.split(";")[0])))
        else:
            out.append(match[0])
    tail = repeated(text[at:], out)
    if group_open:  # closed before the guard's end
        end = tail.rfind("#endif")
        tail = tail[:end] + "/** @} */\n" + tail[end:]
    return "".join(out) + tail


def repeated(code, out):
    """Gives a declaration that follows another without a gap the comment of that one, and a bare handle a few words."""
    comment = next((piece.strip() for piece in reversed(out) if piece.strip().startswith("/** ")), "")
    code = re.sub(r"(?<=;\n)(?=BRIX_API |typedef void)", lambda _: comment + "\n", code)
    return re.sub(r"(?<=\n\n)(typedef struct \w+\* \w+;\n)+",
                  lambda handles: re.sub("(?=typedef)", "/** An opaque handle. */\n", handles[0]), code)


def main():
    path = pathlib.Path(sys.argv[1])
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".md":
        known = r"(?:docs/)?[\w-]+\.md"
        text = re.sub(rf"\[([^\]]*)\]\((?!https?:|#|{known}\))[^)]*\)", r"\1", text)
    else:
        text = converted(re.sub(r"\A/\* SPDX.*?\*/\n+", "", text, flags=re.DOTALL))
    sys.stdout.write(text)


if __name__ == "__main__":
    main()
