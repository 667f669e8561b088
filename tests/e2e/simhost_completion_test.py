"""Words that bash, zsh and fish offer for simhost's command line."""

import os
import re
import shutil
import subprocess
import unittest

from simhost_world import PLUGIN, SIMHOST, SOURCE, SimhostTest, main

COMPLETION = f"{SOURCE}/simhost/completion"


def help_of(*command):
    return subprocess.run([SIMHOST, *command, "--help"], capture_output=True, check=True, text=True).stdout


def commands(*prefix):
    """The commands behind these words."""
    found = re.search(r"(?ms)^Commands:\n(.*?)(?:\n\n|\Z)", help_of(*prefix))
    return [line.split()[0] for line in re.findall(r"(?m)^  (\S.*)$", found.group(1))] if found else []


def leaves(*prefix):
    """All commands that have no commands of their own."""
    names = commands(*prefix)
    return [command for name in names for command in leaves(*prefix, name)] if names else [prefix]


class Offered(SimhostTest):
    """What the program itself answers."""

    def offered(self, *words, **environment):
        environment.setdefault("SIMHOST_CONFIG_DIR", str(self.config))
        done = subprocess.run([SIMHOST, "--complete", *map(str, words)], capture_output=True, text=True, check=True,
                              cwd=self.root, env=self.environment(**environment))
        self.assertEqual(done.stderr, "")
        others, *lines = done.stdout.splitlines()
        return others, [line.split("\t")[0] for line in lines]

    def words(self, *words, **environment):
        others, offered = self.offered(*words, **environment)
        self.assertEqual(others, "none")
        return set(offered)

    def test_commands(self):
        self.assertEqual(self.words(""), set(commands()))
        self.assertEqual(self.words("pr"), {"probe"})
        self.assertEqual(self.words("image", ""), set(commands("image")))
        self.assertEqual(self.words("help", ""), set(commands()))
        self.assertEqual(self.words("help", "image", "p"), {"put"})

    def test_options(self):
        for command in leaves():
            options = set(re.findall(r"(?m)^  (?:-\w,)?(--[a-z-]+)", help_of(*command)))
            self.assertEqual(self.words(*command, "--"), options)
        self.assertEqual(self.words("run", "--server", "x", "--vol"), {"--volume"})

    def test_servers_and_hosts(self):
        array = {"Kelvarpool:mediaA", "Kelvarpool:mediaB"}
        copan = {"copan:arr1", "copan:arr2"}
        for command in (["pools", "--server"], ["pools", "-s"], ["claim"], ["claim", "x:y"]):
            self.assertEqual(self.words(*command, ""), array | copan)
        self.assertEqual(self.words("pools", "--server", "co"), copan)
        self.assertEqual(self.words("pools", "--server=co"), {f"--server={server}" for server in copan})
        self.assertEqual(self.words("pools", "--hosts", ""), {"mediaA", "mediaB"})
        self.assertEqual(self.words("pools", "--hosts", "mediaA,"), {"mediaA,mediaB"})
        self.assertEqual(self.words("check", "--server", "copan:arr1,copan:"), {"copan:arr1,copan:arr2"})

    def test_pools_lsus_and_volumes(self):
        server = ("--server", "Kelvarpool:mediaA")
        self.assertEqual(self.words("volumes", *server, ""), {"pool1", "pool2"})
        self.assertEqual(self.words("run", *server, "--pool", ""), {"pool1", "pool2"})
        self.assertEqual(self.words("run", "--pool", "", SIMHOST_SERVER="Kelvarpool:mediaB"), {"pool1", "archive"})
        self.assertEqual(self.words("run", *server, "--hosts", "mediaB", "--pool", ""), {"pool1", "archive"})
        self.assertEqual(self.words("run", *server, "--pool", "pool2", "--volume", ""),
                         {"#UDID#KP1#disk21#", "#UDID#KP1#disk22#"})
        self.assertIn("pool1:#UDID#KP1#disk11#", self.words("mount", *server, "pool1:"))
        self.assertTrue({"pool1", "pool1:#UDID#KP1#disk11#"} <= self.words("lsu", *server, ""))
        self.assertEqual(self.words("run", "--server", "copan:arr2", "--lsu", ""), {"nightly", "weekly"})
        self.assertEqual(self.words("image", "copy", "-s", "copan:arr1", "--to-server", "copan:arr2", "--to-lsu", "n"),
                         {"nightly"})

    def test_what_is_offered_is_taken(self):
        _, pools = self.offered("run", "--server", "Kelvarpool:mediaA", "--pool", "")
        for pool in pools:
            _, volumes = self.offered("run", "--server", "Kelvarpool:mediaA", "--pool", pool, "--volume", "")
            for volume in volumes:
                self.good("run", "--server", "Kelvarpool:mediaA", "--pool", pool, "--volume", volume)
        _, formats = self.offered("show", "--format", "")
        self.assertIn("html", formats)
        for name in formats:
            subprocess.run([SIMHOST, "show", "--format", name, self.config / "copan.sim"], check=True, capture_output=True)
        for kind in self.words("check", "--as", ""):
            subprocess.run([SIMHOST, "show", "--as", kind, self.config / "copan.sim"], check=True, capture_output=True)

    def test_images(self):
        place = ("--server", "Kelvarpool:mediaA", "--lsu", "pool1", "--image-root", str(self.images))
        for image in ("monday", "tuesday"):
            self.good("image put", *place, image, data=b"x")
        plugin = ("--plugin", PLUGIN)
        for command in ("get", "stat", "rm", "copy"):
            self.assertEqual(self.words("image", command, *plugin, *place, ""), {"monday", "tuesday"})
        self.assertEqual(self.words("image", "rm", *plugin, *place, "monday", "t"), {"tuesday"})
        before = self.tree()
        self.assertEqual(self.words("image", "get", *plugin, "-s", "copan:arr1", "-l", "vol1", ""), set())
        self.assertEqual(self.words("image", "put", *plugin, *place, ""), set())
        self.assertEqual(self.tree(), before)

    def test_files_and_directories(self):
        for words, others in ((["run", "--config-dir", ""], "directories"), (["run", "-c", ""], "directories"),
                              (["run", "--plugin", ""], "files"), (["probe", ""], "files"), (["run", ""], "files"),
                              (["image", "get", "x", ""], "files"), (["check", "a.sim", ""], "files"),
                              (["umount", ""], "files"), (["mount", "pool1:v", ""], "files")):
            self.assertEqual(self.offered(*words), (others, []))

    def test_nothing_goes_wrong(self):
        self.configure("broken.sim", "\0\377;;;=")
        (self.config / "folder.sim").mkdir()
        (self.config / "odd\033.sim").write_text("STORAGE_SERVER = x;\nVOLUMES = v;\n")
        self.assertIn("copan:arr1", self.words("pools", "--server", ""))
        self.assertEqual({word for word in self.words("pools", "--server", "") if "odd" in word}, set())
        self.assertEqual(self.words("run", "--pool", ""), set())
        self.assertEqual(self.words("run", "--server", "none:x", "--pool", ""), set())
        self.assertEqual(self.words("pools", "--server", "", SIMHOST_CONFIG_DIR="/none"), set())
        self.assertEqual(self.words("nothing", ""), set(commands()))
        self.assertEqual(self.offered(), ("none", []))


class Bash(SimhostTest):
    def complete(self, *words):
        script = (f'source "{COMPLETION}/simhost.bash"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); '
                  '_simhost "$1"; printf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "-c", script, "bash", SIMHOST, *words], capture_output=True, text=True,
                              cwd=self.root, check=True, env=self.environment(SIMHOST_CONFIG_DIR=str(self.config)))
        self.assertEqual(done.stderr, "")
        return set(done.stdout.split())

    def test_words_that_the_program_offers(self):
        self.assertEqual(self.complete("pr"), {"probe"})
        self.assertIn("--volume", self.complete("run", "--server", "x", "--vol"))
        self.assertEqual(self.complete("pools", "--server", "cop"), {"copan:arr1", "copan:arr2"})

    def test_colons_and_equal_signs_are_words_of_their_own(self):
        self.assertEqual(self.complete("pools", "--server", "copan", ":"), {"arr1", "arr2"})
        self.assertEqual(self.complete("pools", "--server", "copan", ":", "arr1"), {"arr1"})
        self.assertEqual(self.complete("pools", "--server", "copan", ":", "arr1", "--js"), {"--json"})
        self.assertEqual(self.complete("pools", "--server", "=", "cop"), {"copan:arr1", "copan:arr2"})
        self.assertEqual(self.complete("run", "-s", "Kelvarpool", ":", "mediaA", "--pool", ""), {"pool1", "pool2"})

    def test_files_and_directories(self):
        (self.root / "config.so").write_text("")
        self.assertEqual(self.complete("run", "-c", "con"), {"config"})
        self.assertEqual(self.complete("run", "--plugin", "con"), {"config", "config.so"})
        self.assertEqual(self.complete("run", "--server", "con"), set())


class Zsh(SimhostTest):
    def complete(self, line, end):
        """Types the line and Tab into a zsh on a terminal of its own and gives what is then shown, which ends so."""
        script = f'''
zmodload zsh/zpty
zpty z env PATH={os.path.dirname(SIMHOST)}:$PATH SIMHOST_CONFIG_DIR={self.config} zsh -f -i
zpty -w z "PS1='READY>' ; autoload -U compinit; compinit -u -d {self.root}/dump; source {COMPLETION}/simhost.zsh"
zpty -w z "bindkey '^I' list-choices; cd {self.root}; LISTMAX=1000; stty columns 500"
zpty -n -w z "{line}"$'\\t'
zpty -r -m z answer '*{end}*'
print -r -- "$answer"
zpty -w z $'\\x15'"print DO''NE"
zpty -r -m z answer '*DONE*'
print -r -- "$answer"
'''
        done = subprocess.run(["zsh", "-f", "-c", script], capture_output=True, text=True, timeout=60, check=False,
                              env=self.environment(TERM="dumb"))
        return done.stdout

    @unittest.skipUnless(shutil.which("zsh"), "no zsh")
    def test_words_that_the_program_offers(self):
        shown = self.complete("simhost pools --server cop", "copan:arr2")
        self.assertIn("copan:arr1", shown)
        self.assertIn("copan:arr2", shown)
        self.assertNotIn("Kelvarpool:mediaA", shown)
        self.assertIn("Look into a plug-in", self.complete("simhost ", "Look into a plug-in"))


class Fish(SimhostTest):
    def complete(self, line):
        done = subprocess.run(["fish", "--no-config", "-c", f'source {COMPLETION}/simhost.fish; complete -C "{line}"'],
                              capture_output=True, text=True, cwd=self.root, timeout=60, check=False,
                              env=self.environment(PATH=f"{os.path.dirname(SIMHOST)}:{os.environ['PATH']}",
                                                   HOME=str(self.root), SIMHOST_CONFIG_DIR=str(self.config)))
        self.assertEqual(done.stderr, "")
        return {entry.split("\t")[0] for entry in done.stdout.splitlines()}

    @unittest.skipUnless(shutil.which("fish"), "no fish")
    def test_words_that_the_program_offers(self):
        self.assertEqual(self.complete("simhost pr"), {"probe"})
        self.assertEqual(self.complete("simhost pools --server cop"), {"copan:arr1", "copan:arr2"})
        self.assertEqual(self.complete("simhost run -s Kelvarpool:mediaA --pool "), {"pool1", "pool2"})
        self.assertIn("--volume", self.complete("simhost run --vol"))
        (self.root / "library.so").write_text("")
        self.assertIn("library.so", self.complete("simhost probe lib"))


if __name__ == "__main__":
    main()
