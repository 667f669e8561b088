"""Functions beside each other, each in a process of its own."""
import os
import signal
import sys
import tempfile


class Apart:
    """A function in a process of its own, whose output is kept until its end. It gives whether all is well."""

    def __init__(self, function):
        self.output = tempfile.TemporaryFile("w+", errors="replace")
        sys.stdout.flush()
        self.process = os.fork()
        if self.process != 0:
            return
        status = 1
        try:
            for descriptor in (1, 2):
                os.dup2(self.output.fileno(), descriptor)
            status = 0 if function() else 1
        except BaseException as trouble:
            print(f"{type(trouble).__name__}: {trouble}")
        finally:
            sys.stdout.flush()
            os._exit(status)

    def ends(self, patience=True):
        """Whether all is well; None while it runs and nobody has the patience to wait."""
        process, status = os.waitpid(self.process, 0 if patience else os.WNOHANG)
        if process == 0:
            return None
        self.process = None
        self.output.seek(0)
        print(self.output.read().rstrip(), flush=True)
        return status == 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process is not None:
            os.kill(self.process, signal.SIGTERM)
            os.waitpid(self.process, 0)
