"""Commands, variables and files that stand in a line of prose."""
import re
import shlex

VARIABLE = re.compile(r"^[A-Z][A-Z0-9]+(_[A-Z0-9]+)*(=\S*)?$")
ASSIGNMENT = re.compile(r"^([A-Z][A-Z0-9_]*)=")
SOURCE_FILE = re.compile(r"^[\w./-]+\.(sh|py|cpp|cmake|awk|h)$")

# Code in prose that looks like a command, a variable or a file of ours, and is none.
NAMED_ELSEWHERE = {
    r"(FOLDER|CONFIG|PHOTOGRAPHS|INDEX\.csv)": "stands for something",
}


def fault_of_span(text, document, repository):
    """What is wrong with a piece of code in a line of prose, or None."""
    if any(re.fullmatch(pattern, text) for pattern in NAMED_ELSEWHERE):
        return None
    if SOURCE_FILE.match(text):
        return None if repository.has_file(text, document) else f"there is no file {text}"
    if VARIABLE.match(text):
        name = text.split("=")[0]
        return None if repository.has_word(name) else f"nothing reads {name}"
    try:
        words = shlex.split(text)
    except ValueError:
        return None
    return fault_of_words(words, document, repository) if words else None


def fault_of_words(words, document, repository):
    while words and ASSIGNMENT.match(words[0]):
        name = ASSIGNMENT.match(words.pop(0))[1]
        if not repository.has_word(name):
            return f"nothing reads {name}"
    if words and words[0] == "sudo":
        words = words[1:]
    return fault_of_command(words, document, repository) if words else None


def fault_of_command(words, document, repository):
    program, rest = words[0], words[1:]
    if program == "make":
        return fault_of_make(rest, repository)
    if program.startswith("build/release/"):
        return fault_of_built(program, rest, repository)
    if program == "brairu":
        return repository.fault_of_call(rest)
    if program in repository.commands_of() and rest:
        return repository.fault_of_call(words)
    if re.fullmatch(r"brairu-[\w-]+", program):
        return fault_of_program(program, rest, repository)
    if program in ("cmake", "ctest"):
        return fault_of_presets(program, rest, repository)
    if re.fullmatch(r"[\w./-]+/[\w.-]+\.(sh|py)", program):
        return fault_of_script(program, rest, document, repository)
    if re.match(r"--\w", program):
        return fault_of_option(program, repository)
    return None


def fault_of_make(words, repository):
    for word in words:
        name = ASSIGNMENT.match(word)
        if name and not repository.has_word(name[1]):
            return f"nothing reads {name[1]}"
        if not name and repository.make(word):
            return f"make {word}: {repository.make(word)}"
    return None


def fault_of_built(program, rest, repository):
    name = program.removeprefix("build/release/")
    if name.startswith("tests/"):
        return fault_of_options(rest, repository) if repository.makes(name) else (
            f"the tests make no {name}")
    if not (repository.build / name).exists():
        return f"the build makes no {name}"
    return repository.fault_of_call(rest) if name == "brairu" else None


def fault_of_program(program, rest, repository):
    if program not in repository.programs:
        return f"there is no program {program}"
    return fault_of_options(rest, repository)


def fault_of_script(program, rest, document, repository):
    if not repository.has_file(program, document):
        return f"there is no script {program}"
    return fault_of_options(rest, repository)


def fault_of_options(words, repository):
    for word in words:
        fault = fault_of_option(word, repository) if word.startswith("--") else None
        if fault:
            return fault
    return None


def fault_of_option(word, repository):
    option = re.match(r"--[\w-]+", word)
    if option is None or option[0].startswith("--benchmark_"):
        return None
    known = repository.knows_option_somewhere(option[0])
    return None if known else f"nothing has the option {option[0]}"


def fault_of_presets(program, rest, repository):
    kind = "test" if program == "ctest" else "build" if "--build" in rest else "configure"
    for option, name in zip(rest, rest[1:]):
        if option == "--preset" and name not in repository.presets[kind]:
            return f"{program} has no preset {name}"
    return None
