"""Snippets of other languages than shell: each is tried, and what is wrong with it told."""
import configparser
import json
import re
import sqlite3
import subprocess
import tempfile

HEADERS = "#include <brairu.h>\n#include <stdio.h>\n#include <stdlib.h>\n#include <string.h>\n"


def compiled(text, clone):
    """As a file, or as the inside of a function."""
    faults = [compiler_says(form, clone)
              for form in (text, HEADERS + "void snippet(void) {\n" + text + "\n}\n")]
    return None if None in faults else faults[0]


def compiler_says(text, clone):
    made = subprocess.run([clone.compiler, "-std=c11", "-Wall", "-Wextra", "-Werror",
                           "-fsyntax-only", "-I", str(clone.root / "include"), "-x", "c", "-"],
                          input=text, text=True, capture_output=True, check=False)
    return None if made.returncode == 0 else made.stderr


def configured(text, clone):
    """A project of its own, with sources of the names that it takes."""
    with tempfile.TemporaryDirectory(dir=clone.home) as folder:
        if "project(" not in text:
            text = "cmake_minimum_required(VERSION 3.16)\nproject(snippet LANGUAGES C)\n" + text
        for name in set(re.findall(r"\b[\w./-]+\.c\b", text)):
            with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
                file.write("int main(void) { return 0; }\n")
        with open(f"{folder}/CMakeLists.txt", "w", encoding="utf-8") as file:
            file.write(text)
        made = subprocess.run(["cmake", "-S", folder, "-B", f"{folder}/built"], text=True,
                              env=clone.environment(), capture_output=True, check=False)
    return None if made.returncode == 0 else made.stderr


def parsed_json(text, clone):
    """A document, or one a line, or the members of one; settings have to be those of ours."""
    shipped = json.loads((clone.root / "config/brairu.json").read_text())
    for form in (text, "{" + text.strip().rstrip(",") + "}"):
        try:
            return unknown_settings(json.loads(form), shipped)
        except json.JSONDecodeError:
            pass
    try:
        for line in text.split("\n"):
            json.loads(line)
    except json.JSONDecodeError as fault:
        return f"no JSON: {fault}"
    return None


def unknown_settings(document, shipped):
    for section in set(document) & set(shipped):
        if isinstance(shipped[section], dict):
            for key in set(document[section]) - set(shipped[section]):
                return f"there is no setting {section}.{key}"
    return None


def compiled_python(text, _):
    try:
        compile(text, "snippet", "exec")
    except SyntaxError as fault:
        return str(fault)
    return None


def executed_sql(text, _):
    try:
        sqlite3.connect(":memory:").executescript(text)
    except sqlite3.Error as fault:
        return str(fault)
    return None


def parsed_ini(text, _):
    parser = configparser.ConfigParser(strict=False, interpolation=None)
    try:
        parser.read_string(text)
    except configparser.Error as fault:
        return str(fault)
    return None


TRIALS = {"c": compiled, "cmake": configured, "json": parsed_json, "python": compiled_python,
          "sql": executed_sql, "ini": parsed_ini}
ENDINGS = {"c": r"\.c", "python": r"\.py", "json": r"\.json", "cmake": r"CMakeLists\.txt",
           "ini": r"\.(?:service|ini)"}


def save_as_named(block, later, clone):
    """Under the first name in the commands that follow which is no file yet."""
    ending = ENDINGS.get(block.language)
    if ending is None:
        return
    for name in re.findall(rf"(?<![\w./-])[\w-]*{ending}\b", later):
        if not (clone.root / name).exists():
            (clone.root / name).write_text(block.text + "\n")
            return
