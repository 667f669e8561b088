#!/usr/bin/env python3
"""Looks at every unit of a build with clang-tidy, several at once; those in which nothing was found before are not looked at again.

    packaging/clang_tidy.py BUILD_DIRECTORY [PATTERN]       PATTERN: only units whose paths match this regular expression

What was found depends on the preprocessed source with its comments and macros, the checks and the program alone: a unit is remembered
by a hash of these, below the user's cache directory (XDG_CACHE_HOME, else ~/.cache).
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

# What stands in one source of several that compile as one still belongs to it, so the check that warns of including sources is off.
CHECKS = "-bugprone-suspicious-include"
# Tests are not about speed; they have seeds that are written down, shells, hostile texts, records compared byte for byte, one call
# made twice, calls of the system put in the way, small products of constants; and the analyzer takes most of its time in the macros
# of the test library.
CHECKS_OF_TESTS = CHECKS + ",".join([
    "", "-clang-analyzer-*", "-performance-*", "-cert-*", "-misc-misleading-bidirectional", "-misc-misplaced-const",
    "-bugprone-macro-parentheses", "-bugprone-reserved-identifier", "-bugprone-suspicious-memory-comparison",
    "-bugprone-implicit-widening-of-multiplication-result", "-misc-redundant-expression"])
REMEMBERED_DAYS = 60


def is_test(name):
    return name.startswith("tests/")


def is_looked_at(name):
    """Where sources compile as one, the one that includes them stands for them. What is broken on purpose is left out."""
    return "/corpus/" not in name and (name.startswith("conformance/") or is_test(name) or "/Unity/" in name)


class Look:
    def __init__(self, build, root):
        self.build, self.root = build, root
        self.clean = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "stspi-clang-tidy"
        self.clean.mkdir(parents=True, exist_ok=True)
        version = subprocess.run(["clang-tidy", "--version"], capture_output=True, check=True).stdout
        checks = b"".join(path.read_bytes() for path in sorted(root.glob("**/.clang-tidy")) if "build" not in path.parts)
        self.beginning = version + checks

    def command(self, entry):
        checks = CHECKS_OF_TESTS if is_test(entry["name"]) else CHECKS
        return ["clang-tidy", "--quiet", "--warnings-as-errors=*", "--checks=" + checks]

    def key(self, entry):
        """None when the unit cannot be preprocessed: clang-tidy says why."""
        command = shlex.split(entry["command"])
        command[command.index("-o"):command.index("-o") + 2] = []
        command[command.index("-c")] = "-E"
        preprocessed = subprocess.run(command + ["-CC", "-dD", "-w"], cwd=entry["directory"], capture_output=True, check=False)
        if preprocessed.returncode != 0:
            return None
        # One checkout is as good as another.
        text = preprocessed.stdout.replace(os.fsencode(self.root) + b"/", b"")
        return hashlib.sha256(self.beginning + " ".join(self.command(entry)).encode() + text).hexdigest()

    def at(self, entry):
        """What clang-tidy says, and whether it was asked."""
        key = self.key(entry)
        if key is not None and (self.clean / key).exists():
            os.utime(self.clean / key)
            return "", False
        done = subprocess.run([*self.command(entry), "-p", self.build, entry["file"]], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                              check=False)
        if done.returncode == 0 and key is not None:
            (self.clean / key).touch()
        return "" if done.returncode == 0 else done.stdout or f"{entry['file']}: clang-tidy ends with {done.returncode}\n", True

    def forget_old(self):
        listed = sorted(self.clean.iterdir(), key=lambda path: path.stat().st_mtime)
        if listed:
            newest = listed[-1].stat().st_mtime
            for path in listed:
                if newest - path.stat().st_mtime > REMEMBERED_DAYS * 86400:
                    path.unlink(missing_ok=True)


def main():
    build, root = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(__file__).resolve().parent.parent
    pattern = re.compile(sys.argv[2] if len(sys.argv) > 2 else "")
    entries = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        file = pathlib.Path(entry["file"])
        entry["name"] = str(file.relative_to(build if build in file.parents else root))
        if is_looked_at(entry["name"]) and pattern.search(entry["name"]):
            entries[entry["file"]] = entry
    look = Look(build, root)
    found = asked = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for said, was_asked in pool.map(look.at, [entries[name] for name in sorted(entries)]):
            sys.stdout.write(said)
            sys.stdout.flush()
            found += said != ""
            asked += was_asked
    look.forget_old()
    print(f"clang-tidy: {len(entries)} units, {asked} looked at now, {found} with findings")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
