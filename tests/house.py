#!/usr/bin/env python3
"""Checks the rules of the house: what lies where, what may include what, how long things are, what must be documented.

Usage: house.py [SOURCE_DIRECTORY]     exit status 1 and a list of what is against the rules
       house.py --self-check           shows that every rule finds what is against it

Exceptions stand here, each with its reason, and a test fails when one is no longer needed.
"""
import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOM_TABLE = "docs/architecture.md"
CODE = {".h", ".cpp", ".c"}
LONGEST = {".h": 230, ".cpp": 420, ".c": 200, ".py": 620}
WIDEST = {"CMakeLists.txt": 132, ".cmake": 132}
LONGEST_FUNCTION = 80

# Longer than the rule allows, and why.
LONG_FILES = {
    "include/stspi/stspi.h": "every entry point in life-cycle order, on one page",
    "tests/entry_points/cases.cpp": "one case for each row of a table",
    "conformance/tests/lsu_properties.cpp": "the tests of one entry point",
    "conformance/tests/mount.cpp": "the tests of one entry point",
    "conformance/tests/lsu_lists.cpp": "the tests of one family of entry points",
    "conformance/tests/config_reader.cpp": "the tests of one reader",
    "simhost/journal/timeline_style.h": "a style sheet",
    "simhost/load/image_operations.cpp": "one operation a function, all on one image and its record",
    "tests/unit/lsu/lsu_list_test.cpp": "the tests of one family of entry points",
    "tests/unit/stsimage/fault_test.cpp": "the tests of one family of failures",
    "tests/unit/stsimage/hostile_test.cpp": "the tests of one family of inputs",
    "tests/unit/stsimage/damage_test.cpp": "the tests of one family of failures",
    "tests/unit/lsu/lsu_properties_test.cpp": "the tests of one entry point",
}

SOURCES_WITHOUT_HEADER = {
    "plugin/pass_through.cpp": "its functions are declared in the public header, and defined in assembly",
    "conformance/calls/foreign_plugin.cpp": "a library of its own, which defines what a plug-in exports",
}

SEVERAL_CLASSES = {
    "conformance/watch/guarded_memory.h": "memory, and a record or a text in it",
}

# Longer functions than the rule allows, and why.
LONG_FUNCTIONS = {
    "conformance/corpus/broken_log.cpp": "one line for each way to spoil a message",
}

# Tests with a random engine that do not ask for their seeds, and why.
ENGINES_WITHOUT_SEEDS = {
    "tests/cluster/cluster_hosts.cpp": "the test that starts it on both hosts gives the seed",
    "tests/e2e/journal_sample.cpp": "makes journals that differ from run to run, which the test must not notice",
    "tests/filter/random_history.h": "random_runs gives the seed",
    "tests/filter/random_rules.cpp": "random_runs gives the engine",
    "tests/filter/random_rules.h": "random_runs gives the engine",
    "tests/fuzz/check_fuzzer.cpp": "libFuzzer gives the seed",
    "tests/fuzz/well_formed_file.cpp": "the fuzz target gives the engine",
    "tests/fuzz/well_formed_file.h": "the fuzz target gives the engine",
}

# Variables of the environment by which programs of the tests tell each other something, and nobody else, and what.
VARIABLES_AMONG_TESTS = {
    "STSIMAGE_BEHIND": "the test of planted defects tells the image library that stands in front of which one",
    "STSPI_BAD_LOAD": "the suite's self-test tells a library what to do while it is loaded",
    "STSPI_BROKEN_LOADED": "a broken plug-in remembers that it was loaded before",
    "STSPI_MUTANT_REACH": "mutate.py tells a program where to note the mistakes that it came by",
    "STSPI_MUTANT_REACH_LIST": "mutate.py tells a program where to note which test came by them",
}

MARKERS = re.compile(r"\b(TODO|FIXME|XXX|HACK|TBD)\b|^(<<<<<<<|=======|>>>>>>>)( |$)")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
LINK = re.compile(r"(?<!`)\[[^\]\n]*\]\(([^)\s]+)\)")


class House:
    """The files of a checkout, by their paths below its root."""

    def __init__(self, root):
        self.root = pathlib.Path(root)
        try:
            listed = subprocess.run(["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                                    capture_output=True, check=True).stdout.decode().split("\0")
        except (subprocess.CalledProcessError, FileNotFoundError):
            # A checkout may be somebody else's, or a mere copy.
            listed = [str(path.relative_to(root)) for path in self.root.rglob("*")
                      if not {"build", ".git"} & set(path.relative_to(root).parts[:1])]
        self.files = sorted(name for name in listed if name and (self.root / name).is_file())
        self._texts = {}

    def text(self, name):
        if name not in self._texts:
            self._texts[name] = (self.root / name).read_text(errors="replace")
        return self._texts[name]

    def code(self):
        return [name for name in self.files if pathlib.PurePath(name).suffix in CODE]


def rooms(house):
    """The table of rooms: folder -> what it names as allowed, or None for everything."""
    table = {}
    for line in house.text(ROOM_TABLE).splitlines():
        cells = [cell.strip() for cell in line.strip().strip("|").split(" | ")]
        if len(cells) == 3 and re.fullmatch(r"`[\w/]+`", cells[0]):
            table[cells[0].strip("`")] = None if cells[2] == "everything" else re.findall(r"`([\w/]+)`", cells[2])
    return table


def room_of(name, table):
    """The innermost room that a file lies in, or None."""
    folder = pathlib.PurePath(name).parent
    while str(folder) != ".":
        if str(folder) in table:
            return str(folder)
        folder = folder.parent
    return None


def reach(room, table):
    """All rooms that a room may include, itself among them."""
    found, waiting = set(), [room]
    while waiting:
        current = waiting.pop()
        if current not in found:
            found.add(current)
            waiting += table.get(current) or []
    return found


def included_file(house, name, include):
    """The file of the project that an include means, or None."""
    beside = str(pathlib.PurePath(name).parent / include)
    for candidate in (include, "include/" + include, beside):
        if (house.root / candidate).is_file():
            return candidate
    return None


def includes_stay_in_their_rooms(house):
    table = rooms(house)
    for name in sorted(table):
        for allowed in table[name] or []:
            if allowed not in table:
                yield f"{ROOM_TABLE}: room {name} may include {allowed}, which is no room"
        if not (house.root / name).is_dir():
            yield f"{ROOM_TABLE}: room {name} is no folder"
    for name in house.code():
        room = room_of(name, table)
        if room is None:
            yield f"{name}: lies in no room of {ROOM_TABLE}"
            continue
        if table[room] is None:
            continue
        allowed = reach(room, table)
        for include in INCLUDE.findall(house.text(name)):
            target = included_file(house, name, include)
            if target is not None and room_of(target, table) not in allowed:
                yield f"{name}: includes {include}, which the room {room} may not"


def permissions_are_used(house):
    table = rooms(house)
    used = {name: set() for name in table}
    for name in house.code():
        for include in INCLUDE.findall(house.text(name)):
            if (room := room_of(name, table)) and (target := included_file(house, name, include)):
                used[room].add(room_of(target, table))
    for name in sorted(table):
        for allowed in table[name] or []:
            if allowed not in used[name]:
                yield f"{ROOM_TABLE}: room {name} may include {allowed} and does not"


def rooms_form_floors(house):
    table = rooms(house)
    for room in sorted(table):
        for below in table[room] or []:
            if room in reach(below, table):
                yield f"{ROOM_TABLE}: {room} and {below} may include each other"


def drawings_show_the_rooms(house):
    """Each room in a drawing, as FOLDER/, above what it may include."""
    table = rooms(house)
    drawn = set()
    for drawing in re.findall(r"^```\n(.*?)^```$", house.text(ROOM_TABLE), re.DOTALL | re.MULTILINE):
        floors = {}
        for floor, line in enumerate(drawing.splitlines()):
            for room in re.findall(r"(?<![\w/])(\w+(?:/\w+)*)/(?!\w)", line):
                floors.setdefault(room, floor)
        drawn |= set(floors)
        for room in sorted(set(floors) & set(table)):
            for below in table[room] or []:
                if floors.get(below, floors[room] + 1) <= floors[room]:
                    yield f"{ROOM_TABLE}: {room} is not drawn above {below}, which it may include"
    for room in sorted(table):
        if table[room] is not None and room not in drawn:
            yield f"{ROOM_TABLE}: {room} is in no drawing"


def folders_of_tests_are_told(house):
    row = re.search(r"^\| `tests` \|.*", house.text(ROOM_TABLE), re.MULTILINE)
    for folder in sorted({name.split("/")[1] for name in house.files if re.match("tests/.*/", name)}):
        if row and f"`{folder}/`" not in row[0]:
            yield f"{ROOM_TABLE}: the room tests leaves {folder}/ out"
        if row and f"`tests/{folder}/`" not in house.text("docs/testing.md"):
            yield f"docs/testing.md: tells nothing of tests/{folder}/"


def files_meant(house, name):
    """The paths that a file of the build, or a script, may mean by its words; not all of them are files."""
    text = re.sub(r"^\s*#.*$|\$\w+", "", house.text(name), flags=re.MULTILINE)
    words = set(re.findall(r"[\w./-]*[\w-]\.\w+", text))
    if name.endswith(("CMakeLists.txt", ".cmake")):
        # Rules of the build name some files by what tells them apart: foo for ${name}_test.py.
        for before, after in set(re.findall(r"([\w/]*)\$\{\w+\}(\w*\.\w+)", text)):
            words |= {before + word + after for word in re.findall(r"[\w-]+", text)}
    elif name.endswith(".py"):
        words |= {f"{module}.py" for module in re.findall(r"^\s*(?:import|from) (\w+)", text, re.MULTILINE)}
    folder = str(pathlib.PurePath(name).parent)
    # A word may follow a variable that holds a folder: this one, or the root.
    return {os.path.normpath(f"{base}/{word}") for word in words for base in (folder, ".")} - {name}


def every_file_is_used(house):
    build = [name for name in house.files if name.endswith(("CMakeLists.txt", ".cmake", ".sh", ".py")) or name == ".ci/run"]
    named = set().union(*(files_meant(house, name) for name in build))
    globbed = {str(pathlib.PurePath(name).parent) for name in house.files
               if name.endswith("CMakeLists.txt") and re.search(r"file\(GLOB \w+ CONFIGURE_DEPENDS \*\.cpp\)", house.text(name))}
    included = {included_file(house, name, include) for name in house.code() for include in INCLUDE.findall(house.text(name))}
    documents = set()
    for name in house.files:
        if name.endswith((".md", ".txt")) or name.startswith("man/"):
            words = re.findall(r"[\w./-]*\w", house.text(name))
            documents |= {pathlib.PurePath(word).name for word in words} - {pathlib.PurePath(name).name}
    for name in house.files:
        path = pathlib.PurePath(name)
        if path.suffix in {".cpp", ".c"}:
            if name not in named and str(path.parent) not in globbed:
                yield f"{name}: no CMakeLists.txt names it"
        elif path.suffix == ".h":
            if name not in included and not name.startswith("include/"):
                yield f"{name}: nothing includes it"
        elif path.suffix in {".py", ".sh"} and name not in ("demo.sh", "test.sh"):
            if name not in named and path.name not in documents:
                yield f"{name}: neither the build nor a document names it"
        elif name.startswith("docs/"):
            if path.name not in documents and name not in named:
                yield f"{name}: no document leads to it"


def header_stands_beside_source(house):
    table = rooms(house)
    for name in house.code():
        path = pathlib.PurePath(name)
        room = room_of(name, table)
        if path.suffix != ".cpp" or room is None or table[room] is None or path.name == "main.cpp":
            continue
        if room in ("conformance/tests", "conformance/corpus", "conformance/selftest"):
            continue  # tests and spoilers register themselves
        if name in SOURCES_WITHOUT_HEADER:
            continue
        if str(path.with_suffix(".h")) in house.files:
            continue
        text = house.text(name)
        beside = any(pathlib.PurePath(included_file(house, name, include) or ".").parent == path.parent
                     for include in INCLUDE.findall(text))
        if not beside and not re.search(r"\b(stspi|stsimg)_\w+\(|\bload_process\(", text):
            yield f"{name}: has no header beside it"


def files_say_what_they_hold(house):
    for name in house.code():
        if name.startswith("tests/") or pathlib.PurePath(name).suffix != ".h":
            continue
        text = house.text(name).lstrip()
        if not text.startswith("//") and not text.startswith("/*") and not text.startswith("#pragma once\n"):
            yield f"{name}: does not begin with a comment that says what it holds"
        if re.search(r"/(utils?|common|misc|helpers?)\.\w+$", "/" + name):
            yield f"{name}: is not named by what it holds"


def headers_hold_one_concept(house):
    for name in house.code():
        if name in SEVERAL_CLASSES:
            continue
        if pathlib.PurePath(name).suffix != ".h" or name.startswith(("include/", "tests/")):
            continue
        classes = re.findall(r"^class (\w+)[^;]*\{", house.text(name), re.MULTILINE)
        if len(classes) > 2:
            yield f"{name}: holds {len(classes)} classes: {', '.join(classes)}"


def types_have_their_names_alone(house):
    """Two types of one name that end up in one program share their members' code, whichever the linker meets first."""
    declared = {}
    for name in house.code():
        if pathlib.PurePath(name).suffix != ".h" or name.startswith(("tests/", "bench/", "conformance/corpus/")):
            continue
        namespace = ""
        for line in house.text(name).splitlines():
            if opened := re.match(r"(?:inline )?namespace ([\w:]*)", line):
                namespace = opened[1] + "::"
            elif line.startswith("}  // namespace"):
                namespace = ""
            elif found := re.match(r"(?:class|struct|enum class|union) (?:alignas\([^)]*\) )?(\w+)[^;]*$", line):
                declared.setdefault(namespace + found[1], {})[name] = True
    for type_name, names in sorted(declared.items()):
        if len(names) > 1:
            first, second, *_ = names
            yield f"{second}: declares {type_name}, as {first} does"


def lengths(house):
    for name in house.files:
        suffix = pathlib.PurePath(name).suffix
        if suffix not in LONGEST:
            continue
        lines = house.text(name).count("\n")
        if lines > LONGEST[suffix] and name not in LONG_FILES:
            yield f"{name}: {lines} lines, more than {LONGEST[suffix]}"
        if lines <= LONGEST[suffix] and name in LONG_FILES:
            yield f"{name}: {lines} lines need no exception in tests/house.py"
    for name in LONG_FILES:
        if name not in house.files:
            yield f"{name}: has an exception in tests/house.py and is not there"


def lines_fit(house):
    """What no other tool holds to a width."""
    for name in house.files:
        path = pathlib.PurePath(name)
        widest = WIDEST.get(path.suffix, WIDEST.get(path.name))
        for number, line in enumerate(house.text(name).splitlines() if widest else [], 1):
            if len(line) > widest:
                yield f"{name}:{number}: {len(line)} characters in a line, more than {widest}"


def functions_are_short(house):
    """A function's body begins at a line that ends with '{' and is not indented, and ends at the next line '}'."""
    for name in house.code():
        if name.startswith(("tests/", "conformance/tests/")) or name in LONG_FUNCTIONS:
            continue
        start, head = None, ""
        for number, line in enumerate(house.text(name).splitlines(), 1):
            if re.match(r"[\w].*\) ?(const |noexcept |override )*\{$", line):
                start, head = number, line
            elif line.startswith("}") and start is not None:
                if number - start > LONGEST_FUNCTION:
                    yield f"{name}:{start}: {number - start} lines in one function: {head}"
                start = None


def anchors(text):
    """The anchors of a page, as its readers link them."""
    found = set()
    for heading in re.findall(r"^#+ (.*)$", re.sub(r"```.*?```", "", text, flags=re.DOTALL), re.MULTILINE):
        plain = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).replace("`", "").lower()
        anchor = re.sub(r"[^\w\- ]", "", plain).replace(" ", "-")
        count = sum(1 for known in found if known == anchor or re.fullmatch(re.escape(anchor) + r"-\d+", known))
        found.add(anchor if count == 0 else f"{anchor}-{count}")
    return found | set(re.findall(r'<a (?:id|name)="([^"]+)"', text))


def links_are_alive(house):
    for name in house.files:
        if not name.endswith(".md"):
            continue
        text = re.sub(r"```.*?```", "", house.text(name), flags=re.DOTALL)
        for link in LINK.findall(text):
            if re.match(r"[a-z]+:", link):
                continue
            path, _, anchor = link.partition("#")
            target = (house.root / name).parent / path if path else house.root / name
            if not target.exists():
                yield f"{name}: links to {link}, which is not there"
            elif anchor and target.suffix == ".md" and anchor not in anchors(target.read_text()):
                yield f"{name}: links to {link}, a heading that is not there"


def findings_are_documented(house):
    page = house.text("docs/check.md")
    name = "simhost/check/finding.h"
    for finding in re.findall(r"^ *FINDING\((\w+), ", house.text(name), re.MULTILINE):
        identifier = finding.replace("_", "-")
        if identifier not in page:
            yield f"{name}: the finding {identifier} is not in docs/check.md"


def statuses_are_documented(house):
    page = house.text("docs/failures.md") + house.text("docs/entry-points.md") + house.text("docs/image-library.md")
    for header in ("include/stspi/sts_status.h", "include/stspi/stsimg.h"):
        for status in re.findall(r"\b(STS_E_\w+|STSIMG_E_\w+)\b", house.text(header)):
            if status not in page:
                yield f"{header}: the status {status} is in none of the pages of failures"


def messages_are_documented(house):
    page = house.text("docs/failures.md")
    message = re.compile(r'(?:log_error\([^"()]*|log_unmasked\([^"]*|STSException\(|std::cout << )"((?:[^"\\]|\\.)*)"')
    for name in house.files:
        if name.endswith(".cpp") and name.split("/")[0] in ("plugin", "lsu", "image", "sim", "copan"):
            for text in message.findall(house.text(name)):
                if text.replace("\\n", "").strip() not in page:
                    yield f"{name}: the message \"{text}\" is not in docs/failures.md"


VARIABLE = r"((?:STSPI|STSIMAGE|SIMHOST)_[A-Z0-9_]+)"
READS_VARIABLE = {
    **{suffix: re.compile(rf'(?<!setenv\()"{VARIABLE}"') for suffix in (*CODE, ".py")},
    ".sh": re.compile(rf"\$\{{?{VARIABLE}"),
}


def environment_is_documented(house):
    pages = "".join(house.text(name) for name in house.files if name.endswith(".md"))
    pages += "".join(re.sub(r"\\f[BIRP]", "", house.text(name)) for name in house.files if name.startswith("man/"))
    documented = set(re.findall(r"\w+", pages))
    readers = {}
    for name in house.files:
        if name != "tests/house.py" and (reads := READS_VARIABLE.get(pathlib.PurePath(name).suffix)):
            for variable in reads.findall(house.text(name)):
                readers.setdefault(variable, name)
    for variable, name in sorted(readers.items()):
        if variable not in documented and variable not in VARIABLES_AMONG_TESTS:
            yield f"{name}: reads {variable} from the environment, which no page tells of"
    for variable in sorted(VARIABLES_AMONG_TESTS):
        if variable in documented or variable not in readers:
            yield f"{variable}: needs no exception in tests/house.py"


def seeds_belong_to_tests(house):
    if "tests/seeds.txt" not in house.files:
        return
    asked = set(re.findall(r'seeds_of\("([^"]+)"', "".join(house.text(name) for name in house.code() if name.startswith("tests/"))))
    for number, line in enumerate(house.text("tests/seeds.txt").splitlines(), 1):
        if line and not line.startswith("#") and line.split()[0] not in asked:
            yield f"tests/seeds.txt:{number}: no test asks for the seeds of {line.split()[0]}"


RANDOM_ENGINE = re.compile(r"\bstd::(mt19937(_64)?|minstd_rand0?|ranlux\w+|knuth_b|default_random_engine|random_device)\b")


def chance_asks_for_seeds(house):
    """A failure that chance found is to be found again: by STSPI_SEED, and by tests/seeds.txt."""
    for name in house.code():
        if not name.startswith("tests/"):
            continue
        plays = RANDOM_ENGINE.search(house.text(name)) and "tests/support/seeds.h" not in INCLUDE.findall(house.text(name))
        if plays and name not in ENGINES_WITHOUT_SEEDS:
            yield f"{name}: has a random engine and does not ask seeds_of for its seeds"
        if not plays and name in ENGINES_WITHOUT_SEEDS:
            yield f"{name}: needs no exception in tests/house.py for its random engine"
    for name in sorted(set(ENGINES_WITHOUT_SEEDS) - set(house.files)):
        yield f"{name}: has an exception in tests/house.py and is not there"


STARTS_THREADS = re.compile(r"std::thread\b|std::async\b|\bpthread_create\b")
SUITE = re.compile(r"^(?:TYPED_)?TEST(?:_[FP])?\((\w+),", re.MULTILINE)


def tests_with_threads_meet_the_thread_sanitizer(house):
    """The preset tsan names the tests that are of use to it."""
    presets = json.loads(house.text("CMakePresets.json"))["testPresets"] if "CMakePresets.json" in house.files else []
    filters = [preset["filter"] for preset in presets if preset["name"] == "tsan"]
    for name in house.code() if filters else []:
        if not name.startswith("tests/") or not STARTS_THREADS.search(house.text(name)):
            continue
        listed = str(pathlib.PurePath(name).parent / "CMakeLists.txt")
        prefix = re.search(r"TEST_PREFIX (\S+)", house.text(listed) if listed in house.files else "")
        prefix = prefix.group(1) if prefix else f"unit.{pathlib.PurePath(name).parts[-2]}."
        for suite in sorted(set(SUITE.findall(house.text(name)))):
            test = f"{prefix}{suite}.Test"
            if not re.search(filters[0]["include"]["name"], test) or re.search(filters[0]["exclude"]["name"], test):
                yield f"{name}: starts threads, but the preset tsan leaves {prefix}{suite} out"


def no_markers_are_left(house):
    for name in house.files:
        if pathlib.PurePath(name).suffix not in CODE | {".py", ".sh", ".md", ".txt", ".cmake", ".1", ".3", ".5"}:
            continue
        if name in ("tests/house.py",) or name.startswith("tests/fuzz/corpus/") or name.startswith("tests/corpus/"):
            continue
        for number, line in enumerate(house.text(name).splitlines(), 1):
            if MARKERS.search(line):
                yield f"{name}:{number}: a marker was left: {line.strip()[:80]}"
            if line != line.rstrip() and not name.endswith(".md"):
                yield f"{name}:{number}: blanks at the end of the line"
            if re.search(r"NOLINT\b(?!\()", line):
                yield f"{name}:{number}: NOLINT without the check that it is about"


def statuses_are_required(house):
    """Each entry point and status of docs/entry-points.md is what a requirement of the suite is about."""
    requirements = house.text("conformance/report/requirements.txt").splitlines()
    demands = [line.split("|")[2] for line in requirements if line.count("|") == 3]
    row = re.compile(r"^\| `(\w+)` \| [^|]* \| ([^|]*?) \| [^|]*? \|$", re.MULTILINE)
    for entry_point, status in sorted(set(row.findall(house.text("docs/entry-points.md")))):
        about = [demand for demand in demands if re.search(rf"\b{entry_point}\b", demand)]
        if not any(status in demand for demand in about) if status.startswith("STS_E_") else not about:
            yield f"docs/entry-points.md: no requirement says when {entry_point} returns {status}"


RULES = [
    includes_stay_in_their_rooms, permissions_are_used, rooms_form_floors, drawings_show_the_rooms, folders_of_tests_are_told,
    every_file_is_used, header_stands_beside_source, files_say_what_they_hold, headers_hold_one_concept,
    types_have_their_names_alone, lengths, lines_fit, functions_are_short, links_are_alive, findings_are_documented,
    statuses_are_documented, messages_are_documented, environment_is_documented, statuses_are_required, seeds_belong_to_tests,
    chance_asks_for_seeds, tests_with_threads_meet_the_thread_sanitizer, no_markers_are_left,
]

# For each rule a small house that breaks it, and what the rule must say.
BROKEN = {
    includes_stay_in_their_rooms: ({"low/a.h": '#include "high/b.h"\n', "high/b.h": "//\n"}, "low/a.h: includes high/b.h"),
    permissions_are_used: ({"high/b.h": '#include "high/c.h"\n', "high/c.h": "//\n", "low/a.h": "//\n"},
                           "room high may include low and does not"),
    rooms_form_floors: ({ROOM_TABLE: "| `low` | x | `high` |\n| `high` | y | `low` |\n"}, "may include each other"),
    drawings_show_the_rooms: ({ROOM_TABLE: "```\n low/\n high/\n```\n| `low` | x | nothing |\n| `high` | y | `low` |\n"},
                              "high is not drawn above low"),
    folders_of_tests_are_told: ({ROOM_TABLE: "| `tests` | `a/` | everything |\n", "docs/testing.md": "`tests/b/`\n",
                                 "tests/a/x": "", "tests/b/x": ""}, "the room tests leaves b/ out"),
    every_file_is_used: ({"low/view.cpp": "//\n", "low/CMakeLists.txt": "add_library(low text_view.cpp)\n"},
                         "low/view.cpp: no CMakeLists.txt names it"),
    header_stands_beside_source: ({"low/a.cpp": "int a() { return 1; }\n"}, "low/a.cpp: has no header"),
    files_say_what_they_hold: ({"low/utils.h": "int a();\n"}, "low/utils.h: is not named"),
    headers_hold_one_concept: ({"low/a.h": "class A {\n};\nclass B {\n};\nclass C {\n};\n"}, "low/a.h: holds 3 classes"),
    types_have_their_names_alone: ({"low/a.h": "struct Place {\n};\n", "high/b.h": "class Place final : X {\n};\n"},
                                   "low/a.h: declares Place, as high/b.h does"),
    lengths: ({"low/a.cpp": "\n" * 500}, "low/a.cpp: 500 lines"),
    lines_fit: ({"low/CMakeLists.txt": "# wide\n# " + "w" * 140 + "\n"}, "low/CMakeLists.txt:2: 142 characters"),
    functions_are_short: ({"low/a.cpp": "int a() {\n" + "    ;\n" * 90 + "}\n"}, "low/a.cpp:1: 91 lines"),
    links_are_alive: ({"README.md": "[x](docs/none.md) [y](#no-heading)\n# Heading\n"}, "links to #no-heading"),
    findings_are_documented: ({"simhost/check/finding.h": '    FINDING(no_page, "No.") \\\n', "docs/check.md": "\n"}, "no-page"),
    statuses_are_documented: ({"include/stspi/sts_status.h": "STS_E_NEW = 1\n", "include/stspi/stsimg.h": "",
                               "docs/failures.md": "", "docs/entry-points.md": "", "docs/image-library.md": ""}, "STS_E_NEW"),
    messages_are_documented: ({"sim/a.cpp": 'log_error(session, "no such thing");\n', "docs/failures.md": ""}, "no such thing"),
    environment_is_documented: ({"sim/a.cpp": 'getenv("STSPI_SECRET");\n', "docs/a.md": "STSPI_SECRETS\n"},
                                "sim/a.cpp: reads STSPI_SECRET from"),
    seeds_belong_to_tests: ({"tests/a.cpp": 'seeds_of("A.B", 1);\n', "tests/seeds.txt": "A.B 3\nA.C 4\n"},
                            "tests/seeds.txt:2: no test"),
    chance_asks_for_seeds: ({"tests/a.cpp": "std::mt19937 random(1);\n"}, "tests/a.cpp: has a random engine"),
    tests_with_threads_meet_the_thread_sanitizer: (
        {"CMakePresets.json": '{"testPresets": [{"name": "tsan", "filter": '
                              '{"include": {"name": "^unit.sim"}, "exclude": {"name": "x"}}}]}',
         "tests/unit/lsu/list_test.cpp": "TEST(List, IsShared) { std::thread(work).join(); }\n"}, "leaves unit.lsu.List out"),
    statuses_are_required: ({"conformance/report/requirements.txt": "a/b | 3 | stspi_claim says STS_E_NOT_FOUND. | a.b\n",
                             "docs/entry-points.md": "| `stspi_claim` | 1.4 | STS_E_NOT_CLAIMED | null name |\n"},
                            "no requirement says when stspi_claim returns STS_E_NOT_CLAIMED"),
    no_markers_are_left: ({"low/a.cpp": "// TO" + "DO: later\n"}, "low/a.cpp:1: a marker"),
}


def self_check():
    failures = []
    for rule in RULES:
        files, expected = BROKEN[rule]
        with tempfile.TemporaryDirectory() as root:
            table = {ROOM_TABLE: "| `low` | x | nothing |\n| `high` | y | `low` |\n"}
            for name, text in {**table, **files}.items():
                path = pathlib.Path(root, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text)
            for folder in ("low", "high"):
                pathlib.Path(root, folder).mkdir(exist_ok=True)
            said = list(rule(House(root)))
        if not any(expected in line for line in said):
            failures.append(f"{rule.__name__}: does not say {expected!r} but {said}")
    for failure in failures:
        print(failure)
    print(f"{len(RULES)} rules tried, {len(failures)} blind")
    return 1 if failures else 0


def main():
    parser = argparse.ArgumentParser(description="Checks the rules of the house.")
    parser.add_argument("root", nargs="?", default=pathlib.Path(__file__).resolve().parent.parent)
    parser.add_argument("--self-check", action="store_true")
    options = parser.parse_args()
    if options.self_check:
        return self_check()
    house = House(options.root)
    broken = 0
    for rule in RULES:
        for line in rule(house):
            print(f"{line}    [{rule.__name__}]")
            broken += 1
    print(f"house: {len(house.files)} files, {len(RULES)} rules, {broken} against them")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
