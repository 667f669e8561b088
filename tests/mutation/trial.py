"""Runs one test program with one mutant and tells how it ended."""
import os
import resource
import signal
import subprocess
import tempfile
import time
from pathlib import Path

PASSED = ('[  PASSED  ]', 'The plug-in conforms.')  # what tests say at their end
MOST_MEMORY = 1 << 30  # bytes that a program and its children may hold
MOST_FILE = 1 << 30

# As root a mutant could write anywhere: everything but a /tmp of its own is read-only to it.
_PRIVATE = ('mount --make-rprivate / && mount -t tmpfs -o size=512m none /tmp && mount -t tmpfs none /var/tmp && '
            'if [ -n "$STSPI_MUTATION_WRITABLE" ]; then '
            'mount --bind "$STSPI_MUTATION_WRITABLE" "$STSPI_MUTATION_WRITABLE"; fi && '
            'mount -o remount,ro,bind / && cd /tmp && exec "$@"')


def sandbox(program):
    """The words before the program that run it in a world of its own, none where that cannot be done."""
    words = ['unshare', '-m', 'sh', '-c', _PRIVATE, 'mutation-trial']
    if os.geteuid() != 0 or str(Path(program).resolve()).startswith(('/tmp/', '/var/tmp/')):
        return []
    return words if subprocess.run(words + ['true'], capture_output=True).returncode == 0 else []


def _limits(cpu_seconds):
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_FSIZE, (MOST_FILE, MOST_FILE))
    resource.setrlimit(resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds + 1))


def _resident(pid):
    """Bytes in memory of a process and its descendants."""
    total, open_pids = 0, [pid]
    while open_pids:
        one = open_pids.pop()
        try:
            total += int(Path(f'/proc/{one}/statm').read_text().split()[1]) * 4096
            open_pids += [int(child) for child in Path(f'/proc/{one}/task/{one}/children').read_text().split()]
        except (OSError, ValueError, IndexError):
            pass
    return total


def run(words, environment, seconds, prefix, writable=''):
    """Returns how the program failed, or None when it passed, and the time it took. writable: a directory that it may write to."""
    with tempfile.TemporaryDirectory(prefix='mutation-trial-') as directory, tempfile.TemporaryFile() as output:
        variables = dict(os.environ, GTEST_FAIL_FAST='1', **environment)
        variables['STSPI_MUTATION_WRITABLE'] = str(writable)
        if not prefix:
            variables['TMPDIR'] = directory
        began = time.monotonic()
        process = subprocess.Popen(prefix + words, cwd=directory, env=variables, stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.STDOUT, start_new_session=True,
                                   preexec_fn=lambda: _limits(max(2, int(seconds))))
        failure = None
        while failure is None:
            try:
                process.wait(0.25)
                break
            except subprocess.TimeoutExpired:
                if time.monotonic() - began > 4 * seconds:
                    failure = 'takes too long'
                elif _resident(process.pid) > MOST_MEMORY:
                    failure = 'takes too much memory'
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        code = process.wait()
        took = time.monotonic() - began
        if failure is None:
            output.seek(0)
            text = output.read().decode('utf-8', 'replace')
            if code != 0:
                failure = _reason(text, code)
            elif not any(line in text for line in PASSED):  # as when the program became another one
                failure = 'ends before its tests do'
        return failure, took


def _reason(output, code):
    if code < 0:
        return f'ends with signal {-code}'
    for line in output.splitlines():
        if '[  FAILED  ]' in line:
            return line.split(']', 1)[1].split('(')[0].split(',')[0].strip()
        if 'ERROR: ' in line and 'Sanitizer' in line:
            return line.split('ERROR: ')[1][:80]
        if line.startswith(('FAIL', 'CRASH', 'fail', 'crash')):
            return line.strip()[:80]
    return f'exit status {code}'
