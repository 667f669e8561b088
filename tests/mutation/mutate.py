#!/usr/bin/python3
"""Makes deliberate mistakes in the plug-in, one at a time, and tells which of them no test notices.

Stands on a finished build (cmake --build --preset dev). Every source gets all its mistakes at once, each behind a
switch that an environment variable throws, so that one compilation serves them all; a mistake in a constant is compiled
by itself. A mutant is tried on the unit tests of its own folder, the other folders', the walk through the entry points
and the conformance suite, until one fails. With a second --build, made with sanitizers, what
then survives is tried there.

Exit status: 0 when every mutant was noticed that equivalent.txt does not name (or as many as --least says), 1 when not,
2 when a run was not possible.
"""
import argparse
import hashlib
import json
import os
import random
import re
import shutil
import subprocess
import sys
import threading
import time
from collections import Counter
from concurrent.futures import ProcessPoolExecutor, ThreadPoolExecutor
from pathlib import Path

sys.dont_write_bytecode = True  # this folder is a source

import build as building
import instrument
import mutants as finding
import trial
import verdicts as judging

HERE = Path(__file__).resolve().parent
PROJECT = HERE.parent.parent
ROOMS = ['plugin', 'lsu', 'image', 'sim', 'copan']
FLOOR = 'base'  # of which only the headers belong to the plug-in
FLOOR_TESTS = 'bin/base_unit_tests'
MOST_TESTS = 60  # named one by one to a program
ENOUGH_TO_ASK_THE_SUITE = 300  # mutants, to look which of the suite's tests come by each
PLUGIN = 'lib/libstspi_kelvarpool.so'
WALK = 'bin/entry_points_test'


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--build', action='append', metavar='DIRECTORY', help='build to stand on (default: build/dev); repeatable')
    parser.add_argument('--only', action='append', default=[], metavar='FILE', help='only this source or header; repeatable')
    parser.add_argument('--sample', type=int, metavar='N', help='only N mutants, drawn at random')
    parser.add_argument('--sample-files', type=int, metavar='N', help='draw them from N sources, drawn first')
    parser.add_argument('--seed', type=int, help='seed of the draw (default: a new one, printed)')
    parser.add_argument('--jobs', type=int, default=2, help='mutants tried at the same time (default: 2)')
    parser.add_argument('--work', metavar='DIRECTORY', help='for objects, programs and results.json (default: mutation in the build)')
    parser.add_argument('--fresh', action='store_true', help='forget earlier results instead of going on from them')
    parser.add_argument('--retry', action='store_true', help='try those that survived once more, keep the other results')
    parser.add_argument('--without-suite', action='store_true', help='leave the conformance suite out, which takes longest')
    parser.add_argument('--least', type=float, metavar='PERCENT', help='be content when so many of them were noticed')
    parser.add_argument('--list', action='store_true', help='print the mutants, try none')
    parser.add_argument('--with-equivalent', action='store_true', help='also try what equivalent.txt names')
    return parser.parse_args()


def fail(message):
    print(f'mutate.py: {message}', file=sys.stderr)
    raise SystemExit(2)


# -- what there is to mutate ------------------------------------------------------------------------------------------

class Product:
    """The plug-in's sources and headers, and which objects are made of which."""

    def __init__(self, build):
        self.objects = build.product_objects(ROOMS)
        if not self.objects:
            fail(f'{build.directory} holds no plug-in: build it first')
        self.users = {}  # file -> objects
        self._note_users(build, list(self.objects), lambda file: True)
        # The tests of the headers compile them for themselves.
        tests = [word for word in build.link_words(FLOOR_TESTS) if word in build.commands]
        self._note_users(build, tests, lambda file: file in self.users)

    def _note_users(self, build, objects, is_wanted):
        dependencies = subprocess.run(['ninja', '-t', 'deps'] + objects, cwd=build.directory, capture_output=True, text=True,
                                      check=True).stdout
        for block in dependencies.split('\n\n'):
            lines = block.strip().splitlines()
            if not lines:
                continue
            name = lines[0].split(':')[0]
            for line in lines[1:]:
                path = (build.directory / line.strip()).resolve()
                if path.is_relative_to(PROJECT) and path.relative_to(PROJECT).parts[0] in ROOMS + [FLOOR]:
                    file = str(path.relative_to(PROJECT))
                    if is_wanted(file):
                        self.users.setdefault(file, []).append(name)

    def files(self):
        return sorted(self.users)


def find_in(arguments_):
    project, file, unit, frontend = arguments_
    source = finding.find(project, project / file, unit, frontend)
    digest = hashlib.sha256(source.text.encode('latin-1')).hexdigest()[:16]
    for mutant in source.mutants:
        mutant.digest = digest
    return source.mutants


def find_mutants(build, product, files, jobs):
    tasks = []
    for file in files:
        user = product.users[file][0]
        for name in product.users[file]:  # the header's own source, when there is one
            if build.commands[name][0].stem == Path(file).stem:
                user = name
        tasks.append((PROJECT, file, build.commands[user][0] if not file.endswith('.c') else PROJECT / file,
                      build.frontend_arguments(user)))
    with ProcessPoolExecutor(max(1, jobs)) as pool:
        found = [mutant for part in pool.map(find_in, tasks) for mutant in part]
    for number, mutant in enumerate(found):
        mutant.number = number
    return found


# -- programs with mutants in them ----------------------------------------------------------------------------------

class Programs:
    """The test programs of a build with some objects replaced, linked when first asked for."""

    def __init__(self, build, directory, objects, listens=False):
        self.build = build
        self.directory = directory
        self.objects = objects
        self.listens = listens
        self.complaint = None  # of the linker
        self.lock = threading.Lock()
        self.linked = {}

    def words(self, target):
        """The command that runs a test program, or None when it cannot be linked."""
        with self.lock:
            if target not in self.linked:
                self.linked[target] = self._make(target)
            return self.linked[target]

    def _make(self, target):
        if target == 'conformance':
            plugin = self.words_of_library()
            return plugin and [str(self.build.directory / 'bin/stspi-conformance'), plugin, '--jobs', '1', '--timeout', '10']
        objects = dict(self.objects)
        if target == WALK:
            plugin = self.words_of_library()
            if plugin is None:
                return None
            for name in self.build.loads_plugin_by_path(target):
                objects[name] = self.directory / 'walk' / Path(name).name
                self.build.compile_with_plugin_path(name, plugin, objects[name])
        output = self.directory / target
        more = []
        if self.listens:
            more.append(self.directory / 'listener.o')
            if not more[0].exists():
                self.build.compile_listener(target, more[0])
        self.complaint = self.build.link(target, objects, output, more)
        return [str(output)] if self.complaint is None else None

    def words_of_library(self):
        if PLUGIN not in self.linked:
            output = self.directory / PLUGIN
            self.linked[PLUGIN] = str(output) if self.build.link(PLUGIN, self.objects, output) is None else None
        return self.linked[PLUGIN]


def switched_objects(build, product, found, jobs):
    """Compiles the sources with all switches. A mistake that does not compile so is marked as one for a build of its own."""
    sources = build.work / 'src'
    # What an earlier run found and made is used again.
    memory = build.work / 'not_switched.json'
    refused = set(json.loads(memory.read_text())) if memory.exists() else set()
    by_file = {}
    for mutant in found:
        mutant.switched = mutant.switched and f'{mutant.digest} {mutant.key()}' not in refused
        if mutant.switched:
            by_file.setdefault(mutant.file, []).append(mutant)

    def write(file):
        text = (PROJECT / file).read_bytes().decode('latin-1')
        chosen = [m for m in by_file[file] if m.switched]
        text, overlapping = instrument.with_switches(text, chosen)
        for mutant in chosen:
            if mutant.number in overlapping:
                mutant.switched = False
        if overlapping:
            return write(file)
        building.write_if_changed(sources / file, text)
        return None

    for file in by_file:
        write(file)
    for path in sources.rglob('*'):
        if path.is_file() and str(path.relative_to(sources)) not in by_file:
            path.unlink()
    todo = sorted({name for file in by_file for name in product.users[file]})
    lock = threading.Lock()
    objects = {}

    def compile_one(name):
        output = build.work / 'obj' / name
        parts = [sources / file for file in by_file if name in product.users[file]] + [building.SWITCH]
        parts += [PROJECT / file for file, users in product.users.items() if name in users]
        if output.exists() and output.stat().st_mtime > max(part.stat().st_mtime for part in parts):
            objects[name] = output
            return
        for _ in range(25):
            errors = build.compile(name, sources, output)
            if errors is None:
                objects[name] = output
                return
            with lock:
                if not demote(errors, by_file, sources):
                    fail(f'cannot compile {name} with switches:\n{errors[:2000]}')
                for file in by_file:
                    write(file)
        fail(f'cannot compile {name} with switches')

    with ThreadPoolExecutor(jobs) as pool:
        list(pool.map(compile_one, todo))
    memory.write_text(json.dumps([f'{mutant.digest} {mutant.key()}' for mutant in found if not mutant.switched]))
    return objects


def demote(errors, by_file, sources):
    """Takes the mistakes on the lines that the compiler names out of the switched ones."""
    place = rf'^{re.escape(str(sources))}/([^:\n]+):(\d+):\d+:'
    for kind in (' error', ''):  # what a template or a constant is made of may be told in a note only
        demoted = 0
        for file, line in set(re.findall(place + kind, errors, re.M)):
            for mutant in by_file.get(file, []):
                if mutant.switched and covers(mutant, int(line)):
                    mutant.switched = False
                    demoted += 1
        if demoted:
            return demoted
    return 0


def covers(mutant, line):
    text = (PROJECT / mutant.file).read_bytes().decode('latin-1')
    for part in mutant.parts:
        first = text.count('\n', 0, part.start) + 1
        if first <= line <= first + text.count('\n', part.start, part.end):
            return True
    return False


def own_programs(build, product, mutant):
    """Programs with this one mutant compiled in, or None when it does not compile."""
    directory = build.work / 'single' / str(mutant.number)
    text = (PROJECT / mutant.file).read_bytes().decode('latin-1')
    building.write_if_changed(directory / 'src' / mutant.file, instrument.for_good(text, mutant))
    objects = {}
    for name in product.users[mutant.file]:
        objects[name] = directory / 'obj' / name
        if build.compile(name, directory / 'src', objects[name]) is not None:
            shutil.rmtree(directory, ignore_errors=True)
            return None
    return Programs(build, directory, objects)


# -- trying ----------------------------------------------------------------------------------------------------------

class Trials:
    def __init__(self, builds, product, jobs, with_suite):
        self.builds = builds
        self.with_suite = with_suite
        self.product = product
        self.shared = {}
        self.seconds = {}
        self.reach = {}  # build and program -> mutant's number -> the tests that come by, or nothing told of the tests
        self.prefix = trial.sandbox(builds[0].directory)
        self.jobs = jobs

    def programs_for(self, build, room):
        units = [f'bin/unit_{name}' for name in ROOMS] + [FLOOR_TESTS]
        own = FLOOR_TESTS if room == FLOOR else f'bin/unit_{room}'
        order = ([own] if own in units else []) + [unit for unit in units if unit != own]
        order.append(WALK)
        return order + (['conformance'] if self.with_suite and build is self.builds[0] else [])

    def prepare(self, found):
        for build in self.builds:
            objects = switched_objects(build, self.product, found, self.jobs)
            self.shared[build.name] = Programs(build, build.work / 'all', objects, True)
        for build in self.builds:
            for program in self.programs_for(build, ROOMS[0]):
                words = self.shared[build.name].words(program)
                if words is None:
                    fail(f'cannot link {program} of {build.name} with switches: {self.shared[build.name].complaint}')
                reach = build.work / 'reach' / program
                reach.parent.mkdir(parents=True, exist_ok=True)
                reach.write_bytes(bytes(max(mutant.number for mutant in found) + 1))
                names = reach.with_suffix('.tests')
                names.write_text('')
                environment = dict(build.environment, STSPI_MUTANT_REACH=str(reach), STSPI_MUTANT_REACH_LIST=str(names))
                failure, took = trial.run(words, environment, 120, self.prefix, build.work)
                if failure is not None:
                    fail(f'{program} of {build.name} fails without a mutant: {failure}')
                self.seconds[build.name, program] = took
                self.reach[build.name, program] = self._reached(reach, names)
                if program == 'conformance' and len(found) > ENOUGH_TO_ASK_THE_SUITE:
                    self.reach[build.name, program] = self._reached_in_suite(words, reach, build)

    def _reached_in_suite(self, words, reach, build):
        """Each test of the suite has its process: one run for each test."""
        tests = subprocess.run(words + ['--list'], capture_output=True, text=True, check=True).stdout
        tests = [line.split()[0] for line in tests.splitlines() if line and not line.startswith(' ')]

        def reached_by(test):
            own = reach.with_name(f'suite-{test}')
            own.write_bytes(bytes(reach.stat().st_size))
            trial.run(words + ['--filter', test], dict(build.environment, STSPI_MUTANT_REACH=str(own)), 120, self.prefix,
                      build.work)
            numbers = [number for number, byte in enumerate(own.read_bytes()) if byte]
            own.unlink()
            return test, numbers

        reached = {}
        with ThreadPoolExecutor(self.jobs) as pool:
            for test, numbers in pool.map(reached_by, tests):
                for number in numbers:
                    reached.setdefault(number, []).append(test)
        return reached

    @staticmethod
    def _reached(reach, names):
        reached = {number: [] for number, byte in enumerate(reach.read_bytes()) if byte}
        for line in names.read_text().splitlines():
            test, *numbers = line.split()
            for number in numbers:
                reached.setdefault(int(number), []).append(test)
        return reached

    def _trials_of(self, build, mutant):
        """The programs to try, each with the tests that it is to run, none for all of them."""
        programs = self.programs_for(build, mutant.file.split('/')[0])
        if not mutant.switched:
            return [(program, []) for program in programs]
        reached = {program: self.reach[build.name, program].get(mutant.number) for program in programs}
        chosen = [(program, reached[program] if len(reached[program]) <= MOST_TESTS or program == 'conformance' else [])
                  for program in programs if reached[program] is not None]
        # What one test leaves behind may show in another only: all of the first program's, before the suite.
        if chosen and chosen[0][1]:
            chosen.insert(len(chosen) - (chosen[-1][0] == 'conformance'), (chosen[0][0], []))
        return chosen

    def attempt(self, mutant):
        """Returns (outcome, program, how)."""
        for build in self.builds:
            programs = self.shared[build.name] if mutant.switched else own_programs(build, self.product, mutant)
            if programs is None:
                return 'not built', None, 'the compiler refuses it'
            try:
                for program, tests in self._trials_of(build, mutant):
                    words = programs.words(program)
                    if words is None:
                        return 'not built', None, 'the linker refuses it'
                    if tests and program == 'conformance':
                        words = words + ['--filter', ','.join(tests)]
                    elif tests:
                        words = words + ['--gtest_filter=' + ':'.join(tests)]
                    environment = dict(build.environment)
                    if mutant.switched:
                        environment['STSPI_MUTANT'] = str(mutant.number)
                    seconds = 3 + 5 * self.seconds[build.name, program]
                    failure, _ = trial.run(words, environment, seconds, self.prefix)
                    if failure is not None:
                        return 'killed', f'{build.name}: {program}', failure
            finally:
                if not mutant.switched:
                    shutil.rmtree(programs.directory, ignore_errors=True)
        return 'survived', None, None


class Results:
    def __init__(self, path, fresh):
        self.path = Path(path)
        self.lock = threading.Lock()
        self.written = time.monotonic()
        self.records = {}
        if self.path.exists() and not fresh:
            self.records = {record['key']: record for record in json.loads(self.path.read_text())['mutants']}

    def earlier(self, mutant):
        record = self.records.get(mutant.key())
        return record if record is not None and record['digest'] == mutant.digest else None

    def put(self, mutant, outcome, program, how):
        with self.lock:
            self.records[mutant.key()] = {
                'key': mutant.key(), 'file': mutant.file, 'line': mutant.line, 'operator': mutant.operator,
                'source': mutant.source, 'before': mutant.before, 'after': mutant.after, 'outcome': outcome,
                'by': program, 'how': how, 'digest': mutant.digest}
            if time.monotonic() - self.written > 5:
                self.write()

    def write(self):
        self.path.parent.mkdir(parents=True, exist_ok=True)
        beside = self.path.with_suffix('.new')
        beside.write_text(json.dumps({'mutants': list(self.records.values())}, indent=1) + '\n')
        os.replace(beside, self.path)
        self.written = time.monotonic()


def draw(options, files):
    seed = options.seed if options.seed is not None else random.SystemRandom().randrange(1 << 31)
    if options.sample is not None or options.sample_files is not None:
        print(f'seed {seed}')
    chance = random.Random(seed)
    if options.sample_files is not None:
        files = [file for file in files if not file.endswith('.h')]  # a header's users would all be compiled
        files = sorted(chance.sample(files, min(options.sample_files, len(files))))
    return chance, files


def summary(counted, survivors):
    killed, judged = counted['killed'], counted['killed'] + counted['survived']
    print(f"{sum(counted.values())} mutants: {killed} killed, {counted['survived']} survived, "
          f"{counted['equivalent']} equivalent, {counted['not built']} not built")
    if judged:
        print(f'{100 * killed / judged:.1f} % of those that are not equivalent were noticed')
    for mutant in survivors:
        print(f'{mutant.file}:{mutant.line}: {mutant.operator}: {mutant.before} -> {mutant.after}\n    {mutant.key()}')


def main():
    options = arguments()
    builds = []
    work = Path(options.work).resolve() if options.work else None
    for directory in options.build or [PROJECT / 'build/dev']:
        if not (Path(directory) / 'compile_commands.json').exists():
            fail(f'{directory}: no build directory')
        work = work or Path(directory).resolve() / 'mutation'
        builds.append(building.Build(directory, PROJECT, work))
    product = Product(builds[0])
    files = [file for file in product.files() if not options.only or file in options.only]
    unknown = set(options.only) - set(files)
    if unknown:
        fail(f"no file of the plug-in: {', '.join(sorted(unknown))}")
    chance, files = draw(options, files)
    found = find_mutants(builds[0], product, files, options.jobs)
    complete = not options.only and options.sample is None and options.sample_files is None
    if options.sample is not None:
        found = sorted(chance.sample(found, min(options.sample, len(found))), key=lambda mutant: mutant.number)
    listed = judging.read(HERE / 'equivalent.txt')
    opinions = {mutant.number: judging.verdict_on(mutant, listed) for mutant in found}
    if options.list:
        for mutant in found:
            print(mutant.key())
        return 0
    results = Results(work / 'results.json', options.fresh)
    counted, survivors, todo = Counter(), [], []
    for mutant in found:
        opinion, earlier = opinions[mutant.number], results.earlier(mutant)
        if opinion is not None and opinion.kind == 'equivalent' and not options.with_equivalent:
            counted['equivalent'] += 1
        elif earlier is not None and not (options.retry and earlier['outcome'] == 'survived'):
            counted[earlier['outcome']] += 1
            if earlier['outcome'] == 'survived' and opinion is None:
                survivors.append(mutant)
        else:
            todo.append(mutant)
    print(f'{len(found)} mutants in {len(files)} files, {len(todo)} to try')
    if todo:
        trials = Trials(builds, product, options.jobs, not options.without_suite)
        trials.prepare(found)
        todo.sort(key=lambda mutant: not mutant.switched)  # those that need a compiler last
        done = 0

        def attempt(mutant):
            nonlocal done
            outcome, program, how = trials.attempt(mutant)
            results.put(mutant, outcome, program, how)
            done += 1
            if sys.stdout.isatty():
                print(f'\r{done}/{len(todo)}', end='', flush=True)
            return mutant, outcome

        with ThreadPoolExecutor(options.jobs) as pool:
            for mutant, outcome in pool.map(attempt, todo):
                counted[outcome] += 1
                if outcome == 'survived' and opinions[mutant.number] is None:
                    survivors.append(mutant)
        results.write()
    summary(counted, survivors)
    stale = [verdict for verdict in listed if complete and not verdict.used]
    for verdict in stale:
        print(f'equivalent.txt:{verdict.line}: no such mutant any more: {verdict.key}')
    if options.least is not None:
        judged = counted['killed'] + counted['survived']
        return 0 if judged and 100 * counted['killed'] >= options.least * judged else 1
    return 1 if survivors or stale else 0


if __name__ == '__main__':
    sys.exit(main())
