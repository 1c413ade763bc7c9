#!/usr/bin/env python3
"""Runs the commands of a document and tries its snippets, in a scratch copy of the repository.

    checkDocument.py SOURCE_FOLDER BUILD_FOLDER C_COMPILER DOCUMENT
    checkDocument.py SOURCE_FOLDER BUILD_FOLDER C_COMPILER --exceptions DOCUMENT...

The second form runs nothing: it looks for exceptions that no document needs any more.
"""
import argparse
import os
import pathlib
import re
import signal
import subprocess
import sys

import inline
import shownOutput
import shownPictures
import snippets
from clone import Clone
from exceptions import EXCEPTIONS, Fault, changes_system, exception_for, packages
from links import lost_links
from markdown import SHELL, Document, commands
from repository import Repository

PROSE = ("", "text", "indented")
PROGRAM = r"(make|brairu(-[\w-]+)?|[\w./-]+/[\w.-]+\.(sh|py))$"
AS_ANOTHER = r"^(sudo|runuser -u \w+ --) "
CRON = r"^([\d*/,-]+ ){5}\w+ "
MARK = "-- documents, line "
UNLESS_DONE = "_ended=$?; [ $_ended -eq 0 ] || exit $_ended"
PATIENCE = 110  # seconds
LAST_LINES = 25


class Context:
    """What exceptions are judged by."""

    def __init__(self, document, repository):
        self.document = document
        self.repository = repository


def steps_of(document):
    """Every command with its line, in order; those of a terminal's output follow a dollar sign."""
    for block in document.blocks:
        if block.language in SHELL:
            yield from commands(block)
        elif block.language in PROSE:
            for number, line in enumerate(block.text.split("\n")):
                if line.startswith("$ "):
                    yield line[2:].strip(), block.line + number


def calls_in(line):
    """The words of each call of a program of ours in a line of a synopsis or of a crontab."""
    line = re.sub(CRON, "", line)
    for part in re.split(r"&&|\|\|?|;", line):
        words = [word.strip("[]") for word in re.sub(AS_ANOTHER, "", part.strip()).split()]
        if words and re.match(PROGRAM, words[0]):
            yield words


class Check:
    def __init__(self, name, repository):
        self.name = name
        self.repository = repository
        self.document = Document(repository.source / name)
        self.context = Context(self.document.path, repository)
        self.faults = []

    def say(self, line, message):
        self.faults.append(f"{self.name}:{line}: {message}")

    # ---- What is only read ----

    def read_prose(self):
        for span in self.document.spans():
            fault = inline.fault_of_span(span.text, self.document.path, self.repository)
            if fault:
                self.say(span.line, f"`{span.text}`: {fault}")
        for block in self.document.blocks:
            if block.language in PROSE:
                self.read_synopses(block)
            elif block.language not in SHELL and block.language not in snippets.TRIALS:
                self.say(block.line, f"nothing here can try {block.language}")

    def read_synopses(self, block):
        for number, line in enumerate(block.text.split("\n")):
            self.read_installation(line, block.line + number)
            for words in calls_in(line):
                fault = inline.fault_of_words(words, self.document.path, self.repository)
                if fault:
                    self.say(block.line + number, fault)

    def read_installation(self, line, number):
        if re.match(r"(sudo )?(apt|apt-get) install ", line):
            try:
                packages(line, self.context)
            except Fault as fault:
                self.say(number, f"{line}: {fault}")

    def follow_links(self):
        for line, fault in lost_links(self.document, self.repository.source):
            self.say(line, fault)

    # ---- What is run ----

    def is_tried(self):
        return bool(list(steps_of(self.document))) or any(
            block.language in snippets.TRIALS for block in self.document.blocks)

    def run(self, clone):
        self.try_snippets(clone)
        script = self.script()
        if script:
            self.run_script(clone, script)

    def try_snippets(self, clone):
        blocks = self.document.blocks
        for index, block in enumerate(blocks):
            trial = snippets.TRIALS.get(block.language)
            if trial is None:
                continue
            fault = trial(block.text, clone)
            if fault:
                self.say(block.line, fault)
            later = "\n".join(each.text for each in blocks[index + 1:] if each.language in SHELL)
            snippets.save_as_named(block, later, clone)

    def script(self):
        """All commands, in one shell; a mark with the line of each is printed before it."""
        script = ""
        for command, line in steps_of(self.document):
            try:
                taken = self.taken(command)
            except Fault as fault:
                self.say(line, f"{command}: {fault}")
                continue
            if taken:
                script += f"echo '{MARK}{line}'\n{taken}\n{UNLESS_DONE}\n"
        return script

    def taken(self, command):
        exception, text = exception_for(self.name, command)
        if exception:
            return exception.action(text, self.context)
        if changes_system(command):
            raise Fault("leaves the scratch copy, and no exception says what to do in its place")
        return command

    def run_script(self, clone, script):
        shell = subprocess.Popen(["sh", "-c", script], cwd=clone.root, env=clone.environment(),
                                 encoding="utf-8", errors="replace", stdin=subprocess.DEVNULL,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                 start_new_session=True)
        try:
            output, _ = shell.communicate(timeout=PATIENCE)
        except subprocess.TimeoutExpired:
            os.killpg(shell.pid, signal.SIGKILL)
            output, _ = shell.communicate()
        printed = printed_by_line(output)
        if shell.returncode != 0:
            line, last = list(printed.items())[-1]
            tail = "\n".join(last.split("\n")[-LAST_LINES:])
            self.say(line, f"ended with {shell.returncode}:\n{tail}")
        else:
            self.compare_output(printed)
            self.compare_pictures(clone, script)

    def compare_output(self, printed):
        for block, shown in shownOutput.shown_after(self.document):
            lines = [line for _, line in commands(block) if line in printed]
            missing = shownOutput.first_missing(shown.text, "\n".join(printed[line]
                                                                      for line in lines))
            if lines and missing is not None:
                self.say(shown.line, f"is not what the commands before it print: {missing}")

    def compare_pictures(self, clone, script):
        for line, fault in shownPictures.drawn_otherwise(self.document, script, clone.root):
            self.say(line, fault)


def printed_by_line(output):
    """What was printed after the mark of each line."""
    printed = {0: ""}
    for part in re.split(rf"^(?={MARK})", output, flags=re.MULTILINE):
        number, _, text = part.removeprefix(MARK).partition("\n")
        printed[int(number) if part.startswith(MARK) else 0] = text
    return printed


def check(name, repository, compiler):
    trial = Check(name, repository)
    trial.read_prose()
    trial.follow_links()
    if trial.is_tried():
        with Clone(repository.source, repository.build, compiler) as clone:
            clone.prepare("\n".join(block.text for block in trial.document.blocks))
            trial.run(clone)
    return trial.faults


def unused_exceptions(names, repository):
    documents = {name: Document(repository.source / name) for name in names}
    used = {exception_for(name, command)[0]
            for name, document in documents.items() for command, _ in steps_of(document)}
    for each in EXCEPTIONS:
        if each not in used:
            yield f"no command of {each.document} needs the exception {each.command}"
    spans = [span.text for document in documents.values() for span in document.spans()]
    for pattern in inline.NAMED_ELSEWHERE:
        if not any(re.fullmatch(pattern, span) for span in spans):
            yield f"no document names {pattern}"


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("source", type=pathlib.Path)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("compiler")
    parser.add_argument("--exceptions", action="store_true")
    parser.add_argument("documents", nargs="+")
    arguments = parser.parse_args()
    repository = Repository(arguments.source.resolve(), arguments.build.resolve())
    if arguments.exceptions:
        faults = list(unused_exceptions(arguments.documents, repository))
    else:
        faults = [fault for name in arguments.documents
                  for fault in check(name, repository, arguments.compiler)]
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main())
