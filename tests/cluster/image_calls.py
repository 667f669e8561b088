"""Calls of the image library, made one by one in a process of their own: image_calls, which a test has started."""


class ImageCalls:
    def __init__(self, process):
        self.process = process

    def make(self, *words):
        """Gives status, seconds and text of the failure."""
        print(*words, file=self.process.stdin, flush=True)
        status, milliseconds, text = self.process.stdout.readline().rstrip("\n").split(" ", 2)
        return int(status), int(milliseconds) / 1000, text

    def good(self, *words):
        status, _, text = self.make(*words)
        assert status == 0, f"{words}: {status}, {text}"

    def exit_amid(self, threads):
        """Lets it end while that many threads make calls."""
        print("exit_amid", threads, file=self.process.stdin, flush=True)
        told, _ = self.process.communicate(timeout=120)
        assert self.process.returncode == 0, f"{self.process.returncode}: {told}"

    def end(self):
        self.process.kill()
        self.process.communicate()
