"""Commands of the documents that are not run as they stand, each with its reason and with what is
done in its place. One that fits no command of any document any more fails the test of this table.
"""
import dataclasses
import re
import shlex

from inline import fault_of_words


@dataclasses.dataclass(frozen=True)
class Exempted:
    document: str  # "*" for any
    command: str  # a regular expression that fits the whole command, its white space single
    reason: str
    action: object  # of (command, context): what is run in its place, or a Fault; "" for nothing


class Fault(Exception):
    """Why a command that is not run cannot be right."""


def known(command, context):
    """Not run; but its program, target, options, variables and presets have to be there."""
    for part in re.split(r"&&|\|\||;", command):
        fault = fault_of_words(shlex.split(part), context.document, context.repository)
        if fault:
            raise Fault(fault)
    return ""


def packages(command, context):
    """Not run; but the packages have to be those that are made, or in Debian."""
    made = made_packages(context)
    folder = "build/package/"
    for word in shlex.split(command.split("install", 1)[1]):
        name = word.removeprefix("./")
        if name.startswith(folder):
            architecture, _, file = name.removeprefix(folder).partition("/")
            if architecture not in ("amd64", "armhf", "arm64"):
                raise Fault(f"no packages are made in {folder}{architecture}")
            name = file
        if word.startswith("-") or name == "*.deb":
            continue
        if re.split("[_*]", name)[0] not in made and not context.repository.has_word(name):
            raise Fault(f"{name} is none of {' '.join(sorted(made))}, nor otherwise installed")
    return ""


def made_packages(context):
    script = (context.repository.source / "cmake/packaging/makePackages.sh").read_text()
    if "build=$source/build/package/$architecture" not in script:
        raise Fault("makePackages.sh leaves packages elsewhere")
    version = re.search(r"project\(brairu VERSION (\d+)", (context.repository.source /
                                                            "CMakeLists.txt").read_text())[1]
    names = re.search(r'^packages="(.*)"$', script, re.M)[1]
    for variable, stem in re.findall(r"^(\w+)=(\S+)\$soversion$", script, re.M):
        names = names.replace("$" + variable, stem + version)
    return set(names.split())


def instead(replacement):
    """Runs this; {command} in it is the command as it stands."""
    return lambda command, context: replacement.replace("{command}", command)


EXCEPTIONS = (
    Exempted("*", r"make (?!-n)[\w-]+( \w+=\S+)*",
             "installs packages, builds anew or takes long", known),
    Exempted("*", r"(sudo )?(apt|apt-get) install .*", "changes the system", packages),
    Exempted("README.md", r"cc door\.c .*", "is run in examples/, against the installed library",
             instead("(cd examples && {command})")),
    Exempted("README.md", r"cmake --preset board && cmake --build --preset board",
             "links the libraries of a board", known),
    Exempted("docs/security.md", r"useradd --system palm", "changes the system",
             instead("useradd --help | grep -q -e --system")),
    Exempted("docs/security.md", r"install -d -m 0700 -o palm -g palm /var/lib/palm",
             "writes to the system",
             instead('install -d -m 0700 -o "$(id -un)" -g "$(id -gn)" "$SCRATCH/palm"')),
    Exempted("docs/security.md",
             r"install -m 0600 -o palm -g palm config/brairu\.json /var/lib/palm/brairu\.json",
             "writes to the system",
             instead('install -m 0600 -o "$(id -un)" -g "$(id -gn)" config/brairu.json'
                     ' "$SCRATCH/palm/brairu.json"')),
    Exempted("tools/brairu/README.md", r"brairu watch /dev/video0",
             "there is no camera, and it would not end", instead("brairu watch frames/ --once")),
    Exempted("tools/brairu/README.md", r"brairu bench", "enrols a thousand palms",
             instead("{command} --gallery 100")),
)

# What a document may not do to the machine that the test runs on, unless an exception says what is
# done in its place.
SYSTEM = re.compile(r"(?<![\w.$}*])/(?:boot|dev/(?!null\b)|etc|home|lib|opt|root|srv|usr|var)\b"
                    r"|(?<![\w/-])(?:apt|apt-get|dpkg|mount|reboot|systemctl|useradd)\b(?!/)")


def changes_system(command):
    return SYSTEM.search(command) is not None


def exception_for(document, command):
    text = " ".join(command.replace("\\\n", " ").split())
    for each in EXCEPTIONS:
        if each.document in ("*", document) and re.fullmatch(each.command, text):
            return each, text
    return None, text
