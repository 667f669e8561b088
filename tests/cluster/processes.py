"""Programs that are run until they end well, and the parts of a test."""
import contextlib
import os
import signal
import subprocess
import sys
import time


def call(*command, **options):
    """What it says; an error has that too."""
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)} ended with {done.returncode}: {done.stdout.strip()}")
    return done.stdout


def finish(process, seconds=600):
    """Waits for one that was started, and prints what it says."""
    try:
        output, _ = process.communicate(timeout=seconds)
    except BaseException:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)  # hosts are a group of their own
        process.kill()
        raise
    print(output.rstrip(), flush=True)
    if process.returncode != 0:
        raise AssertionError(f"{' '.join(process.args)} ended with {process.returncode}")
    return output


def check_names(parts, chosen):
    unknown = [name for name in chosen if name not in parts]
    if unknown:
        sys.exit(f"{sys.argv[0]}: there is no part {' '.join(unknown)}: {' '.join(parts)}")


def passes(parts, world, name):
    """Runs a part, and prints what became of it."""
    begin = time.monotonic()
    try:
        parts[name](world)
        ended = "passed"
    except Exception as trouble:  # whatever it is, the next part shall run
        ended = f"FAILED: {trouble}"
    print(f"=== {name}: {ended} ({time.monotonic() - begin:.0f} s)", flush=True)
    return ended == "passed"
