#!/usr/bin/env python3
"""Checks that no message text and no status code of the interface is forgotten by the tests.

The texts are the string literals that the product gives to its log functions, to standard output, to its exception and
to its tracing; the codes are those of sts_status.h. Each must occur in an expectation of a test in tests/ or
conformance/: in a statement that calls EXPECT_..., ASSERT_..., expect_... or require_..., or that fills something named
after what is expected. Literals with format directives are looked for in pieces.

Usage: check_expectations.py [SOURCE_DIRECTORY]     exit status 1 and a list when something is missing
       check_expectations.py --self-check           shows that a forgotten text and a forgotten code are found
"""
import pathlib
import re
import sys

PRODUCT = ["plugin", "lsu", "image", "sim", "copan"]
TESTS = ["tests", "conformance"]
STATUS_HEADER = "include/stspi/sts_status.h"

# Texts that no call can bring about, and why they stand there.
UNREACHABLE = {
    "array out of bound": "a list always has room for its names: without memory std::bad_alloc comes first",
}

MESSAGE_STATEMENT = re.compile(
    r"\b(log_trace|log_error|log_unmasked|send|snprintf|STSException|TraceObject|with_lsu_text|print_line)\b|std::cout|\bmessage\b")
EXPECTATION_STATEMENT = re.compile(
    r"\b(EXPECT|ASSERT)_\w+|\b(expect|require)\w*\s*[({]|\b\w*(expected|outcomes?)\w*\b", re.IGNORECASE)

TOKEN = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)*\'|#\s*include[^\n]*|;', re.DOTALL)
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
FORMAT = re.compile(r"%(?:\.\*)?[a-z]+")
BLOCK_HEAD = re.compile(r"\)\s*(?:const\s*|override\s*|noexcept\s*)*\{")


def statements(source):
    """The statements of a C++ source, without comments and includes, each with the heads of the blocks before it."""
    parts, start, text = [], 0, ""
    for token in TOKEN.finditer(source):
        text += source[start:token.start()]
        start = token.end()
        found = token.group()
        if found == ";":
            parts.append(text)
            text = ""
        elif found[0] in "\"'":
            text += found
    parts.append(text)
    return parts


def without_heads(statement):
    """The statement without the heads of the blocks before it: a test's name is no expectation."""
    blanked = LITERAL.sub(lambda match: '"' + "_" * len(match.group(1)) + '"', statement)
    heads = list(BLOCK_HEAD.finditer(blanked))
    return statement[heads[-1].end():] if heads else statement


def literals(statement):
    """The string literals of a statement; adjacent ones are one."""
    joined = re.sub(r'"\s*"', "", statement)
    return LITERAL.findall(joined)


def sources(root, folders):
    for folder in folders:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".cpp", ".h", ".c"):
                yield path


def message_texts(root):
    """(text, where) for every piece of a message of the product."""
    for path in sources(root, PRODUCT):
        for statement in statements(path.read_text()):
            if not MESSAGE_STATEMENT.search(LITERAL.sub('""', statement)):
                continue
            for literal in literals(statement):
                for piece in FORMAT.split(literal):
                    if piece and piece not in UNREACHABLE:
                        yield piece, path.relative_to(root)


def status_codes(root):
    return re.findall(r"X\((STS_E_\w+), \d+,", (root / STATUS_HEADER).read_text())


def expectations(root):
    """All literals and all words of the tests' expectations."""
    texts, words = [], set()
    for path in sources(root, TESTS):
        for statement in map(without_heads, statements(path.read_text())):
            if EXPECTATION_STATEMENT.search(LITERAL.sub('""', statement)):
                texts.extend(literals(statement))
                words.update(re.findall(r"\bSTS_E_\w+", statement))
    return texts, words


def missing(messages, codes, expected):
    texts, words = expected
    everything = "\n".join(texts)
    lost = [f'message "{text}" of {where}' for text, where in messages if text not in everything]
    lost += [f"status {code}" for code in codes if code not in words]
    return sorted(set(lost))


def self_check(messages, codes, expected):
    forgotten = missing(messages + [("a text that no test knows", "nowhere.cpp")], codes + ["STS_E_NEW"], expected)
    if forgotten != ['message "a text that no test knows" of nowhere.cpp', "status STS_E_NEW"]:
        sys.exit(f"a forgotten text or code was not found: {forgotten}")
    for text, where in messages:
        others = [literal for literal in expected[0] if text not in literal]
        if f'message "{text}" of {where}' not in missing(messages, codes, (others, expected[1])):
            sys.exit(f'"{text}" is not missed when its tests go')
    print(f"each of {len(messages)} texts is missed when its tests go")


def main():
    arguments = sys.argv[1:]
    checking_itself = arguments[:1] == ["--self-check"]
    if checking_itself:
        arguments = arguments[1:]
    root = pathlib.Path(arguments[0] if arguments else pathlib.Path(__file__).parent.parent)
    messages, codes = sorted(set(message_texts(root))), status_codes(root)
    if len(messages) < 45 or len(codes) < 16:
        sys.exit(f"only {len(messages)} texts and {len(codes)} codes found: the script does not understand the sources")
    expected = expectations(root)
    if checking_itself:
        self_check(messages, codes, expected)
        return
    lost = missing(messages, codes, expected)
    for line in lost:
        print(f"no test expects {line}")
    if lost:
        sys.exit(1)
    print(f"{len(messages)} message texts and {len(codes)} status codes are expected by tests")


if __name__ == "__main__":
    main()
