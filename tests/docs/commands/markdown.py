"""What a Markdown document holds: blocks, spans of code, links, headings."""
import dataclasses
import re


@dataclasses.dataclass
class Block:
    language: str  # "" without one, "indented" for one that is indented
    text: str
    line: int  # of its first line of text


@dataclasses.dataclass
class Span:
    text: str
    line: int


SHELL = ("sh", "bash", "shell", "console")  # languages of commands
FENCE = re.compile(r"^( {0,3})(```+|~~~+)\s*([\w+-]*)\s*$")
LINK = re.compile(r"\]\(([^)\s]+)\)")
HEADING = re.compile(r"^#+ +(.*)$")


class Document:
    def __init__(self, path):
        self.path = path
        self.lines = path.read_text(encoding="utf-8").split("\n")
        self.blocks = []
        self.prose = []  # (line number, text) of what is in no block
        self._split()

    def _split(self):
        index = 0
        while index < len(self.lines):
            fence = FENCE.match(self.lines[index])
            if fence:
                index = self._take_fenced(index, fence)
            elif self._begins_indented(index):
                index = self._take_indented(index)
            else:
                self.prose.append((index + 1, self.lines[index]))
                index += 1

    def _take_fenced(self, index, fence):
        indent, marks, language = fence.groups()
        end = index + 1
        while end < len(self.lines) and self.lines[end].strip() != marks:
            end += 1
        if end == len(self.lines):
            raise ValueError(f"{self.path}:{index + 1}: the block does not end")
        text = "\n".join(line.removeprefix(indent) for line in self.lines[index + 1:end])
        self.blocks.append(Block(language, text, index + 2))
        return end + 1

    # A block of its own, and no further line of a list.
    def _begins_indented(self, index):
        if not self.lines[index].startswith("    ") or not self.lines[index].strip():
            return False
        if index > 0 and self.lines[index - 1].strip():
            return False
        before = [line for line in self.lines[:index] if line.strip()]
        return not before or not re.match(r"^ *([-*]|\d+\.) |^ ", before[-1])

    def _take_indented(self, index):
        end = index
        while end < len(self.lines) and (self.lines[end].startswith("    ")
                                         or not self.lines[end].strip()):
            end += 1
        text = "\n".join(line.removeprefix("    ") for line in self.lines[index:end]).rstrip()
        self.blocks.append(Block("indented", text, index + 1))
        return end

    def spans(self):
        """Code in the prose, that which runs over a line's end too."""
        for start, text in self._paragraphs():
            for found in re.finditer(r"(?<!`)`([^`]+)`(?!`)", text):
                line = start + text[:found.start()].count("\n")
                yield Span(" ".join(found[1].split()), line)

    def _paragraphs(self):
        lines = []
        start = 0
        for number, text in self.prose + [(0, "")]:
            if lines and (not text.strip() or text.startswith("|") or number != start + len(lines)):
                yield start, "\n".join(lines)
                lines = []
            if text.strip():
                start = start if lines else number
                lines.append(text)

    def links(self):
        for number, text in self.prose:
            for found in LINK.finditer(text):
                yield found[1], number

    def anchors(self):
        """As the pages that show Markdown make them of headings."""
        for _, text in self.prose:
            heading = HEADING.match(text)
            if heading:
                words = re.sub(r"[`*_]|\[|\]\([^)]*\)", "", heading[1]).strip().lower()
                yield re.sub(r"[^\w\- ]", "", words).replace(" ", "-")


def commands(block):
    """The commands of a block of shell as (text without comments, line)."""
    lines = block.text.split("\n")
    index = 0
    while index < len(lines):
        first = index
        taken = [lines[index]]
        while _is_unfinished(taken) and index + 1 < len(lines):
            index += 1
            taken.append(lines[index])
        index += 1
        text = "\n".join(_without_comment(line) for line in taken).strip()
        if text:
            yield text, block.line + first


def _is_unfinished(lines):
    text = "\n".join(lines)
    here = re.search(r"<<-?\s*[\"']?(\w+)", text)
    if here:
        return lines[-1].strip() != here[1]
    if lines[-1].endswith("\\"):
        return True
    if re.search(r"(&&|\|\|?)\s*$", _without_comment(lines[-1])):
        return True
    opened = len(re.findall(r"(?:^|;|\n)\s*(?:for|while|if|case)\b", text))
    closed = len(re.findall(r"(?:^|;|\n)\s*(?:done|fi|esac)\b", text))
    return opened > closed


def _without_comment(line):
    quote = None
    for place, letter in enumerate(line):
        if quote:
            quote = None if letter == quote else quote
        elif letter in "\"'":
            quote = letter
        elif letter == "#" and (place == 0 or line[place - 1].isspace()):
            return line[:place].rstrip()
    return line
