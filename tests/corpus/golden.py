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


SHOWN = {"text": ".txt", "json": ".json", "dot": ".dot", "html": ".html"}


def grammar_of(file):
    """By the first word of the file's name; nothing for the names that the plug-in itself knows."""
    word = file.name.split("-")[0]
    return ["--as", word] if word in ("array", "copan") else []


def cases():
    for file in sorted((CORPUS / "check").glob("*.sim")):
        yield Case(file, ["check", *grammar_of(file)], ".expected")
    for file in sorted((CORPUS / "show").glob("*.sim")):
        for name, suffix in SHOWN.items():
            yield Case(file, ["show", *grammar_of(file), "--format", name], suffix)
