"""The manual page and --help tell the same: every command, argument and option is in both."""

import pathlib
import re
import subprocess

from simhost_world import SIMHOST, SOURCE, SimhostTest, main

MANUAL = (pathlib.Path(SOURCE) / "man" / "simhost.1").read_text()


def help_of(command):
    return subprocess.run([SIMHOST, *command.split(), "--help"], capture_output=True, check=True, text=True).stdout


def section(text, title):
    """The lines of a section of a help text, indentation of continued lines left out."""
    found = re.search(rf"(?ms)^{title}:\n(.*?)(?:\n\n|\Z)", text)
    return re.findall(r"(?m)^  (\S.*)$", found.group(1)) if found else []


def commands(prefix=""):
    """All commands that do something by themselves."""
    text = help_of(prefix)
    names = [line.split()[0] for line in section(text, "Commands")]
    below = [command for name in names for command in commands(f"{prefix} {name}")]
    acts = not names or (prefix and len(section(text, "Options")) > 1)
    return [prefix.strip()] * bool(acts) + below


def help_entries(command):
    text = help_of(command)
    entries = {re.split(r"  +", line)[0] for line in section(text, "Options")}
    entries |= {line.split()[0] for line in section(text, "Arguments")}
    return entries - {"-h,--help"}


def manual_sections():
    """Title of each .SH and .SS and its text."""
    parts = re.split(r'(?m)^\.S[HS] "?(.*?)"?\n', MANUAL)
    return dict(zip(parts[1::2], parts[2::2]))


def manual_entries(text):
    entries = set()
    for line in re.findall(r"(?m)^\.TP\n(.*)$", text):
        line = line.replace("\\-", "-")
        match = re.fullmatch(r'\.BI (\S+) " (.*)"', line) or re.fullmatch(r"\.(?:B|I) (\S+)", line)
        if match:
            entries.add(" ".join(match.groups()))
    return entries


class Manual(SimhostTest):
    def test_every_command_is_in_both(self):
        described = {title[len("simhost "):] for title in manual_sections() if title.startswith("simhost ")}
        self.assertEqual(described, set(commands()))
        self.assertGreater(len(described), 10)

    def test_every_option_and_argument_is_in_both(self):
        sections = manual_sections()
        for command in commands():
            with self.subTest(command=command):
                text = sections[f"simhost {command}"]
                entries = manual_entries(text)
                groups = re.search(r"(?m)^Takes the (.*) options\.$", text)
                for group in re.split(r", | and ", groups.group(1)) if groups else []:
                    entries |= manual_entries(sections[f"{group.upper()} OPTIONS"])
                self.assertEqual(entries, help_entries(command))

    def test_options_of_the_program_are_in_both(self):
        entries = {re.split(r"  +", line)[0] for line in section(help_of(""), "Options")}
        self.assertEqual(entries, manual_entries(manual_sections()["OPTIONS OF ALL COMMANDS"]))

    def test_exit_statuses_are_in_both(self):
        in_manual = set(re.findall(r"(?m)^\.B (\d)$", manual_sections()["EXIT STATUS"]))
        told = re.search(r"Exit status: (.*?)\.\n", help_of(""), re.S).group(1)
        self.assertEqual(set(re.findall(r"\b(\d) ", told)), in_manual)

    def test_help_fits_a_terminal(self):
        for command in [""] + commands():
            longest = max(help_of(command).splitlines(), key=len)
            self.assertLessEqual(len(longest), 80, longest)

    def test_every_manual_page_tells_the_version(self):
        version = subprocess.run([SIMHOST, "--version"], capture_output=True, check=True, text=True).stdout.split()[1]
        pages = sorted((pathlib.Path(SOURCE) / "man").glob("*.[1-8]"))
        self.assertGreaterEqual(len(pages), 4)
        for page in pages:
            self.assertRegex(page.read_text(), rf'^\.TH [A-Z-]+ \d "\d+" "[a-z-]+ {re.escape(version)}" ', page)

    def test_the_manual_page_is_well_formed(self):
        done = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-z"], input=MANUAL, capture_output=True, text=True,
                              check=True)
        self.assertEqual(done.stderr, "")


if __name__ == "__main__":
    main()
