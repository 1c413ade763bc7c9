"""What the repository has: programs with their options, targets, variables, files."""
import functools
import json
import re
import subprocess

SOURCE_FOLDERS = (".ci", "bench", "cmake", "config", "docs", "examples", "include", "models",
                  "platform", "renderer", "src", "tests", "tools", "training")
SOURCE_ENDINGS = (".cpp", ".h", ".c", ".py", ".sh", ".cmake", ".txt", ".json", ".in", ".awk")


class Repository:
    def __init__(self, source, build):
        self.source = source
        self.build = build

    @functools.cached_property
    def files(self):
        files = [path for path in self.source.iterdir() if path.is_file()]
        for folder in SOURCE_FOLDERS:
            files += [path for path in (self.source / folder).rglob("*") if path.is_file()]
        return files

    # Without the documents, and without the names that this test itself is full of.
    @functools.cached_property
    def text(self):
        sources = [path for path in self.files
                   if (path.suffix in SOURCE_ENDINGS or path.name in ("Makefile", "run"))
                   and path.parent != self.source / "tests/docs/commands"]
        return "\n".join(path.read_text(encoding="utf-8", errors="replace") for path in sources)

    def has_word(self, word):
        return re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", self.text) is not None

    def has_file(self, name, document):
        """By its path from the root or from the document, or by its name alone."""
        if (self.source / name).exists() or (document.parent / name).exists():
            return True
        return "/" not in name and any(path.name == name for path in self.files)

    @functools.cached_property
    def programs(self):
        return set(re.findall(r"add_executable\((brairu[\w-]*)", self.text)) - {"brairu-tool"} | {
            "brairu"}

    # A program of the tests, by its path in the build folder; it may not be built yet.
    def makes(self, name):
        folder, _, program = name.rpartition("/")
        rules = self.source / folder / "CMakeLists.txt"
        return rules.exists() and re.search(rf"\((?:\s*){re.escape(program)}\s",
                                            rules.read_text()) is not None

    @functools.lru_cache(maxsize=None)
    def make(self, target):
        """None when make knows the target, else what it says."""
        made = subprocess.run(["make", "-n", target], cwd=self.source, text=True,
                              capture_output=True, check=False)
        return None if made.returncode == 0 else made.stderr.strip()

    @functools.cached_property
    def presets(self):
        document = json.loads((self.source / "CMakePresets.json").read_text())
        return {kind: {preset["name"] for preset in document[kind + "Presets"]}
                for kind in ("configure", "build", "test")}

    # ---- brairu's own command line ----

    @functools.lru_cache(maxsize=None)
    def help_of(self, *command):
        """None when there is no such sub-command."""
        shown = subprocess.run([self.build / "brairu", *command, "--help"], text=True,
                               capture_output=True, check=False)
        return shown.stdout if shown.returncode == 0 else None

    @functools.lru_cache(maxsize=None)
    def commands_of(self, *command):
        _, _, listed = (self.help_of(*command) or "").partition("Subcommands:\n")
        return tuple(re.findall(r"^  (\w+) ", listed, re.MULTILINE))

    def fault_of_call(self, words):
        """What is wrong with a call of brairu, by its words after the program's name."""
        command = []
        first = next((place for place, word in enumerate(words) if word in self.commands_of()), 0)
        before, rest = words[:first], list(words[first:])
        while rest and rest[0] in self.commands_of(*command):
            command.append(rest.pop(0))
        if not command and rest and not rest[0].startswith("-"):
            return f"brairu has no sub-command {rest[0]}"
        if before and not before[0].startswith("-"):
            return f"brairu has no sub-command {before[0]}"
        if command and self.commands_of(*command) and rest and re.match(r"[a-z]+$", rest[0]):
            return f"brairu {' '.join(command)} has no sub-command {rest[0]}"
        for word, owner in [(word, []) for word in before] + [(word, command) for word in rest]:
            option = re.match(r"--[\w-]+", word)
            if option and not self.knows_option(option[0], owner):
                return f"brairu {' '.join(owner)} has no option {option[0]}"
        return None

    # Those of the tool as a whole go with every sub-command.
    def knows_option(self, option, command):
        for level in ((), tuple(command)):
            if re.search(rf"(?<![\w-]){option}(?![\w-])", self.help_of(*level) or ""):
                return True
        return False

    def knows_option_somewhere(self, option):
        calls = [(name,) for name in self.commands_of()]
        calls += [(name, each) for name in self.commands_of() for each in self.commands_of(name)]
        return any(self.knows_option(option, call) for call in calls) or self.has_word(option)
