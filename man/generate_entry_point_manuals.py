#!/usr/bin/env python3
"""Writes a section-3 manual page for every function that a public header declares, from the header's own comments.

Usage: generate_entry_point_manuals.py HEADER OUTPUT_DIRECTORY VERSION

A comment that stands right before a declaration describes it: lines indented by three blanks are arguments, the
paragraph that begins with "Returns" is the return value, the rest is the description. Declarations without a comment of
their own share the page of the section they stand in. Fails for a function that no comment describes. The conventions at the
top of the header get a page too, stspi(3).
"""
import pathlib
import re
import sys

DECLARATION = re.compile(r"^int32_t (\w+)\(([^;]*)\);", re.MULTILINE)
SECTION = re.compile(r"/\* ==== (.+?) =+(.*?)\*/", re.DOTALL)


def comment_lines(comment):
    """The text of a comment, line by line, without its stars."""
    body = comment.strip()[2:-2]
    return [re.sub(r"^ ?\* ?", "", line).rstrip() for line in body.strip().split("\n")]


def roff(text):
    """Text made safe for roff, and references to functions set in bold."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    text = re.sub(r"\b((?:stspi|stsimg)_\w+|load_process)\b", r"\\fB\1\\fP", text)
    return "\\&" + text if text.startswith((".", "'")) else text


def parse(lines):
    """Description paragraphs, arguments as (names, text), and the return value."""
    description, arguments, returns = [], [], []
    target = description
    paragraph = []
    for line in lines:
        argument = re.match(r"^  (\w+(?:, \w+)*)  +(.+)$", line)
        if argument:
            arguments.append([argument[1], argument[2]])
        elif arguments and line.startswith("       "):
            arguments[-1][1] += " " + line.strip()
        elif line.startswith("Returns") and (paragraph or description or arguments):
            returns.append(line)
        elif returns:
            returns.append(line)
        elif line:
            paragraph.append(line)
        else:
            target.append(" ".join(paragraph))
            paragraph = []
    target.append(" ".join(paragraph))
    return [text for text in description if text], arguments, " ".join(returns).strip()


def page(names, declarations, comment, section, version, header):
    description, arguments, returns = parse(comment_lines(comment))
    if not description:
        sys.exit(f"{header}: no description of {names[0]}")
    summary = re.split(r"(?<=[.:]) ", description[0])[0].rstrip(".:")
    summary = summary[0].lower() + summary[1:]
    out = [
        f'.TH {names[0].upper()} 3 "" "stspi {version}" "Plug-in interface"',
        ".SH NAME",
        f'{", ".join(names)} \\- {roff(summary)}',
        ".SH SYNOPSIS",
        ".nf",
        f"#include <{header}>",
        "",
    ]
    out += [roff(line) for declaration in declarations for line in declaration.split("\n")]
    out += [".fi", ".SH DESCRIPTION"]
    for number, text in enumerate(description):
        out += ([".PP"] if number else []) + [roff(text)]
    if arguments:
        out.append(".SH ARGUMENTS")
        for argument_names, text in arguments:
            out += [".TP", f"\\fI{argument_names}\\fP".replace("_", "_"), roff(text)]
    if returns:
        out += [".SH RETURN VALUE", roff(returns)]
    if section:
        out += [".SH NOTES"]
        for number, text in enumerate(section):
            out += ([".PP"] if number else []) + [roff(text)]
    out += [".SH SEE ALSO", "\\fBstspi\\fP(3), \\fBsimhost\\fP(1), \\fBstspi\\-conformance\\fP(1), \\fBsim\\fP(5)"]
    return "\n".join(out) + "\n"


def section_notes(text):
    """The paragraphs of a section's heading, if it has any."""
    paragraphs = "\n".join(re.sub(r"^ ?\* ?", "", line).rstrip() for line in text.strip().split("\n")).split("\n\n")
    return [" ".join(paragraph.split()) for paragraph in paragraphs if paragraph.strip()]


def conventions_page(text, version, header):
    """The numbered conventions of the header's first comment."""
    lines = comment_lines(text[: text.index("*/") + 2])
    summary = lines[0].rstrip(".")
    out = [
        f'.TH STSPI 3 "" "stspi {version}" "Plug-in interface"',
        ".SH NAME",
        f"stspi \\- {roff(summary[0].lower() + summary[1:])}",
        ".SH SYNOPSIS",
        f"#include <{header}>",
        ".SH DESCRIPTION",
        "Conventions, which hold for every entry point unless its page says otherwise:",
    ]
    found = 0
    for line in lines:
        item = re.match(r"^ {1,2}(\d+)\. (.+)$", line)
        if item:
            found += 1
            if int(item[1]) != found:
                sys.exit(f"{header}: convention {item[1]} is number {found}")
            out += [f".IP {found}. 4", roff(item[2])]
        elif found and line.startswith("    "):
            out.append(roff(line.strip()))
        elif found and line:
            break
    if found == 0:
        sys.exit(f"{header}: no conventions")
    out += [".SH SEE ALSO", "\\fBsimhost\\fP(1), \\fBstspi\\-conformance\\fP(1), \\fBsim\\fP(5)"]
    return "\n".join(out) + "\n"


def main():
    header_path, output, version = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
    header = f"stspi/{header_path.name}"
    text = header_path.read_text()
    output.mkdir(parents=True, exist_ok=True)
    sections = [(match.start(), match.end(), section_notes(match[2]), match[0]) for match in SECTION.finditer(text)]
    (output / "stspi.3").write_text(conventions_page(text, version, header))
    shared = {}  # heading position -> declarations described by the heading alone
    for match in DECLARATION.finditer(text):
        before = text[: match.start()].rstrip()
        heading = next((entry for entry in reversed(sections) if entry[1] <= match.start()), None)
        is_described = before.endswith("*/") and text[match.start() - 1] == "\n" and text[match.start() - 2] != "\n"
        comment = before[before.rindex("/*"):] if is_described else None
        if comment is None or comment.startswith("/* ===="):
            if heading is None or not heading[2]:
                sys.exit(f"{header}: {match[1]} has no comment")
            shared.setdefault(heading[0], []).append(match)
            continue
        notes = heading[2] if heading else []
        (output / f"{match[1]}.3").write_text(page([match[1]], [match[0]], comment, notes, version, header))
    for position, matches in shared.items():
        notes = next(entry[2] for entry in sections if entry[0] == position)
        comment = "/* " + "\n *\n * ".join(notes) + " */"
        names = [match[1] for match in matches]
        (output / f"{names[0]}.3").write_text(page(names, [match[0] for match in matches], comment, [], version, header))
        for name in names[1:]:
            (output / f"{name}.3").write_text(f".so man3/{names[0]}.3\n")


main()
