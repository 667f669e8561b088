#!/usr/bin/env python3
"""Checks that loading the library runs nothing but the initialisation of the standard streams.

Usage: static_initialisation_test.py OBJDUMP LIBRARY      the library must have its symbol table
"""
import re
import subprocess
import sys

INITIALISERS = re.compile(r"_GLOBAL__|__static_initialization_and_destruction|__cxx_global_var_init")
# The second is the first as LLVM's objdump writes it.
ALLOWED = re.compile(r"std::ios_base::Init::Init\(\)@plt|_ZNSt8ios_base4InitC1Ev@plt|__cxa_atexit@plt")


def calls_by_function(objdump, library):
    listing = subprocess.run([objdump, "-dC", "--no-show-raw-insn", library], capture_output=True, text=True, check=True).stdout
    function = None
    for line in listing.splitlines():
        head = re.match(r"[0-9a-f]+ <(.*)>:$", line)
        if head:
            function = head[1]
            continue
        call = re.search(r"\t(?:call|jmp)q?\s+(?:(?:0x)?[0-9a-f]+ )?(.*)", line)
        if call and function and INITIALISERS.search(function):
            yield function, call[1]


def entries_of_init_array(objdump, library):
    for line in subprocess.run([objdump, "-h", library], capture_output=True, text=True, check=True).stdout.splitlines():
        fields = line.split()
        if len(fields) > 2 and fields[1] == ".init_array":
            return int(fields[2], 16) // 8
    return 0


def has_symbols(objdump, library):
    listing = subprocess.run([objdump, "-t", library], capture_output=True, text=True, check=True).stdout
    return re.search(r"^[0-9a-f]{8,} ", listing, re.MULTILINE) is not None


def main():
    objdump, library = sys.argv[1:]
    functions, wrong = set(), []
    for function, target in calls_by_function(objdump, library):
        functions.add(function)
        name = re.sub(r"^<|>$|\+0x[0-9a-f]+>$", "", target)
        if not (ALLOWED.search(name) or INITIALISERS.search(name) or name.startswith(function)):
            wrong.append("%s calls %s" % (function, target))
    # Beside one function for each source with streams there is the compiler's own.
    sources = [function for function in functions if "_GLOBAL__" in function]
    if entries_of_init_array(objdump, library) > len(sources) + 1:
        wrong.append("%d functions run at loading, %d of them initialise streams" %
                     (entries_of_init_array(objdump, library), len(sources)))
    # Where the C++ library itself initialises the streams, as from GCC 13 on, no source does.
    if not has_symbols(objdump, library):
        wrong.append("the library has been stripped of the names that are looked for")
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
