"""Each command that takes --json: its document is one by the schema, which leaves no room for anything else."""

import copy
import subprocess

import jsonschema
from json_schema import SCHEMA, VALIDATOR, document_of
from simhost_world import PLUGIN, SIMHOST, SimhostTest, main

ARRAY = ["--server", "Kelvarpool:mediaA"]
# Commands that need a world of their own: their own tests hold their documents against the schema.
TRIED_ELSEWHERE = {"load", "load init", "load check", "load compare"}
IN_POOL = [*ARRAY, "--lsu", "pool1"]


def help_of(*words):
    return subprocess.run([SIMHOST, *words, "--help"], capture_output=True, check=True, text=True).stdout


def commands(*words):
    """All commands that have no commands of their own."""
    text = help_of(*words)
    if "\nCommands:\n" not in text:
        return [" ".join(words)]
    listed = text.split("\nCommands:\n")[1].split("\n\n")[0]
    return [name for line in listed.splitlines() if line[2:3].strip() for name in commands(*words, line.split()[0])]


class Documents(SimhostTest):
    def setUp(self):
        super().setUp()
        (self.root / "fresh").mkdir()
        self.data = self.root / "data"
        self.data.write_bytes(b"data" * 1000)
        self.rules = self.root / "rules"
        self.rules.write_text("seed 1\non write_image call 3 answer 5\non read_image call 1 after log \"by rule\"\n")
        self.good("image put", *IN_POOL, "one", self.data, "--image-root", self.images, "--record", self.root / "journal",
                  "--faults", self.rules)
        self.good("image put", *IN_POOL, "two", self.data, "--image-root", self.images, "--record", self.root / "journal2")

    def invocations(self):
        """The words that run each command, and whether it calls a plug-in."""
        images = [*IN_POOL, "--image-root", self.images]
        array = self.config / "Kelvarpool.sim"
        return {
            "check": ([array], False),
            "show": ([array], False),
            "diff": ([array, array], False),
            "claim": (["Kelvarpool:x", "none:y"], True),
            "server": (ARRAY, True),
            "pools": (ARRAY, True),
            "volumes": ([*ARRAY, "pool1"], True),
            "lsu": ([*ARRAY, "pool1"], True),
            "mount": ([*ARRAY, "pool1:g1", self.root / "mounted"], True),
            "umount": ([self.root / "mounted"], True),
            "image put": ([*images, "three", self.data], True),
            "image get": ([*images, "one", self.root / "got"], True),
            "image ls": (images, True),
            "image stat": ([*images, "one"], True),
            "image copy": ([*images, "one", "four"], True),
            "image migrate": ([*IN_POOL, self.images, self.root / "elsewhere"], True),
            "image fsck": (["--image-root", self.images, "--verify"], True),
            "image rm": ([*images, "four"], True),
            "run": ([*ARRAY, self.data], True),
            "probe": ([PLUGIN], False),
            "init": (["Kelvarpool", "--config-dir", self.root / "fresh", "--storage-dir", self.storage], False),
            "sweep": (["--", "claim", "Kelvarpool:x", "--plugin", PLUGIN, "--config-dir", self.config], False),
            "faults check": ([self.rules], False),
            "faults explain": ([self.rules], False),
            "faults status": ([self.rules], False),
            "faults apply": ([self.rules, "--settings", self.rules], False),
            "faults init": ([self.root / "new.rules"], False),
            "journal stats": ([self.root / "journal"], False),
            "replay": ([self.root / "journal2", "--image-root", self.root / "again"], True),
            "minimize": ([self.root / "journal2", "--image-root", self.root / "again", "--while", "status=success",
                          "--output", self.root / "smallest"], True),
            "journal diff": ([self.root / "journal", self.root / "journal2"], False),
        }

    def run_with_json(self, command, words, calls_plugin):
        if command == "sweep":
            words = ["--json", *words]
        else:
            words = [*words, "--json", *(["--plugin", PLUGIN, "--config-dir", self.config] if calls_plugin else [])]
        done = subprocess.run([SIMHOST, *command.split(), *map(str, words)], input=b"", capture_output=True,
                              env=self.environment(), timeout=300, check=False)
        self.assertTrue(done.stdout, done.stderr)
        return document_of(done.stdout)

    def test_every_command_that_takes_the_option_is_tried_here(self):
        taking = {command for command in commands() if "--json" in help_of(*command.split())}
        self.assertEqual(taking - TRIED_ELSEWHERE, set(self.invocations()))

    def test_every_document_is_one_by_a_schema_of_its_commands_own(self):
        for command, (words, calls_plugin) in self.invocations().items():
            with self.subTest(command=command):
                document = self.run_with_json(command, words, calls_plugin)
                self.assertEqual(document["command"], command)
                self.assertTrue(document["result"], document["errors"])
                for change in (lambda result: result.update(unheard=1), lambda result: result.pop(next(iter(result)))):
                    other = copy.deepcopy(document)
                    change(other["result"])
                    if not other["result"] or not self.is_required(command, document, other):
                        continue
                    with self.assertRaises(jsonschema.ValidationError):
                        VALIDATOR.validate(other)

    @staticmethod
    def is_required(command, document, other):
        """Whether a result without a member cannot be one: members that a command may end without are no mistake."""
        missing = set(document["result"]) - set(other["result"])
        definition = SCHEMA["$defs"].get(command.replace(" ", "_") + "_result", {})
        return not missing or missing <= set(definition.get("required", []))

    def test_what_became_of_the_rules_is_in_the_schema(self):
        done = self.good("run", *ARRAY, self.data, "--json", "--faults", self.rules)
        self.assertEqual(len(self.document(done)["result"]["faults"]["rules"]), 2)

    def test_sizes_have_the_first_releases_names_too(self):
        run = self.document(self.good("run", *ARRAY, self.data, "--json"))["result"]
        self.assertEqual({run[key][name] for key in ("written", "read") for name in ("bytes", "size_bytes")}, {4000})
        show = self.run_with_json("show", [self.config / "Kelvarpool.sim"], False)["result"]
        volume = show["pools"][0]["volumes"][0]
        self.assertEqual(volume["bytes"], volume["capacity_bytes"])
        check = self.run_with_json("check", [self.config / "Kelvarpool.sim"], False)["result"]
        pool = check["files"][0]["contents"]["pools"][0]
        self.assertEqual(pool["volume_bytes"], pool["volume_capacity_bytes"])


main()
