"""Compiles and links with mutants what an existing build directory compiles and links without."""
import json
import re
import shlex
import subprocess
from pathlib import Path

SWITCH = Path(__file__).resolve().parent / 'mutation_switch.h'


class Build:
    """One build directory, with a directory beside its objects for those with mutants."""

    def __init__(self, directory, project, work):
        self.directory = Path(directory).resolve()
        self.project = project
        self.name = self.directory.name
        self.work = Path(work) / self.name
        commands = json.loads((self.directory / 'compile_commands.json').read_text())
        self.commands = {}  # object, relative to the build directory -> (source, words)
        for entry in commands:
            words = shlex.split(entry['command'])
            if words[0].endswith('ccache'):
                words = words[1:]
            self.commands[words[words.index('-o') + 1]] = (Path(entry['file']), words)
        self.environment = self._environment()
        self.objects = {}  # object -> the one with switches
        self._links = {}

    def _environment(self):
        presets = json.loads((self.project / 'CMakePresets.json').read_text())['testPresets']
        for preset in presets:
            if preset['name'] == self.name:
                return {key: value.replace('${sourceDir}', str(self.project))
                        for key, value in preset.get('environment', {}).items()}
        return {}

    def product_objects(self, rooms):
        """The plug-in's objects: object -> source."""
        link = self.link_words('lib/libstspi_kelvarpool.so')
        return {name: self.commands[name][0] for name in link if name in self.commands
                and self.commands[name][0].relative_to(self.project).parts[0] in rooms}

    def frontend_arguments(self, name):
        words = self.commands[name][1]
        return ['-x', 'c++', '-std=c++17'] + [w for w in words if w.startswith(('-I', '-D', '-isystem'))]

    def compile(self, name, sources, output, check_only=False):
        """Compiles an object from the sources directory where it has the file. Returns what the compiler says, or None."""
        source, words = self.commands[name]
        relative = source.relative_to(self.project)
        words = [word for word in words if not re.match(r'-W(?!l,)|-g', word)]
        words[words.index('-o') + 1] = str(output)
        words[words.index('-c') + 1] = str(sources / relative) if (sources / relative).exists() else str(source)
        extra = [f'-I{sources}', '-fmax-errors=400', '-Werror=vla']  # an array that a switch sizes is none
        if words[words.index('-c') + 1].endswith('.cpp'):
            extra += ['-include', str(SWITCH)]
        if check_only:
            extra.append('-fsyntax-only')
        else:
            Path(output).parent.mkdir(parents=True, exist_ok=True)
        done = subprocess.run([words[0]] + extra + words[1:], cwd=self.directory, capture_output=True, text=True)
        return None if done.returncode == 0 else done.stderr

    def link_words(self, target):
        if target not in self._links:
            lines = subprocess.run(['ninja', '-t', 'commands', target], cwd=self.directory, capture_output=True, text=True,
                                   check=True).stdout.splitlines()
            words = shlex.split(lines[-1].split(' && ')[1])
            if words[0].endswith('ccache'):
                words = words[1:]
            self._links[target] = words
        return list(self._links[target])

    def link(self, target, objects, output, more=()):
        """Links a target with some of its objects replaced, and more. These go first: of an inline function they hold the
        copy that is taken."""
        words = self.link_words(target)
        words[words.index('-o') + 1] = str(output)
        mine = [str(objects[word]) for word in words if word in objects]
        words = [word for word in words if word not in objects]
        first = next(i for i, word in enumerate(words) if word.endswith('.o'))
        words[first:first] = mine + [str(each) for each in more] + ['-Wl,-S']
        Path(output).parent.mkdir(parents=True, exist_ok=True)
        done = subprocess.run(words, cwd=self.directory, capture_output=True, text=True)
        return None if done.returncode == 0 else done.stderr

    def compile_listener(self, target, output):
        """Compiles reach_listener.cpp as the tests of a target are compiled."""
        name = next(word for word in self.link_words(target) if word in self.commands and word.endswith('_test.cpp.o'))
        _, words = self.commands[name]
        words = [word for word in words if not re.match(r'-W(?!l,)', word)]
        words[words.index('-o') + 1] = str(output)
        words[words.index('-c') + 1] = str(SWITCH.parent / 'reach_listener.cpp')
        Path(output).parent.mkdir(parents=True, exist_ok=True)
        subprocess.run(words, cwd=self.directory, check=True)

    def loads_plugin_by_path(self, target):
        """The target's objects that hold the path of the plug-in."""
        return [word for word in self.link_words(target)
                if word in self.commands and any(w.startswith('-DPLUGIN_PATH=') for w in self.commands[word][1])
                and 'PLUGIN_PATH' in self.commands[word][0].read_text()]

    def compile_with_plugin_path(self, name, plugin, output):
        source, words = self.commands[name]
        words = [f'-DPLUGIN_PATH="{plugin}"' if word.startswith('-DPLUGIN_PATH=') else word for word in words]
        words[words.index('-o') + 1] = str(output)
        Path(output).parent.mkdir(parents=True, exist_ok=True)
        subprocess.run(words, cwd=self.directory, check=True)


def write_if_changed(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    data = text.encode('latin-1')
    if not path.exists() or path.read_bytes() != data:
        path.write_bytes(data)

