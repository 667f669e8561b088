"""Commands over the files of the corpus, with the output that each is expected to have."""

import pathlib
import subprocess

CORPUS = pathlib.Path(__file__).parent


class Case:
    """One simhost command over one file, run in the file's directory."""

    def __init__(self, file, arguments, suffix):
        self.file = file
        self.arguments = arguments + [file.name]
        self.expected_file = file.with_suffix(suffix)
        self.name = f"{file.parent.name}/{self.expected_file.name}"

    def run(self, simhost):
        """What is on standard output, then the exit status."""
        done = subprocess.run([simhost, *self.arguments], cwd=self.file.parent, capture_output=True, check=False)
        return done.stdout + f"exit {done.returncode}\n".encode()


def grammar_of(file):
    return file.name.split("-")[0]


def cases():
    for file in sorted((CORPUS / "check").glob("*.sim")):
        yield Case(file, ["check", "--as", grammar_of(file)], ".expected")
