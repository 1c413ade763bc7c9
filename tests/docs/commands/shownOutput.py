"""The output that a document shows after its commands, against what the commands print."""
import re

from markdown import SHELL

ELLIPSES = r"…|\.\.\."
LINES_BETWEEN = 3  # two fences and an empty line
NUMBER = re.compile(r"(?<![\w/])-?\d[\d.,]*")


def shown_after(document):
    """Each block of commands with the text that follows at once."""
    for block, following in zip(document.blocks, document.blocks[1:]):
        end = block.line + block.text.count("\n") + 1
        at_once = following.line - end <= LINES_BETWEEN
        if block.language in SHELL and following.language == "text" and at_once:
            yield block, following


def first_missing(shown, printed):
    """The first line that is shown and not printed, in their order; None if all are. An ellipsis
    stands for what is left out of a line; numbers may be others, but for an exit status."""
    printed = " ".join(printed.split())
    for part in re.split(rf"\n|{ELLIPSES}", shown):
        words = " ".join(part.split())
        found = re.search(pattern_of(words), printed)
        if found is None:
            return words
        printed = printed[found.end():]
    return None


def pattern_of(words):
    pattern = ""
    end = 0
    for number in NUMBER.finditer(words):
        before = words[end:number.start()]
        exact = before.endswith("status ")
        pattern += re.escape(before) + (re.escape(number[0]) if exact else r"-?\d[\d.,]*")
        end = number.end()
    return pattern + re.escape(words[end:])
