#!/usr/bin/env python3
"""The check itself: it has to find what is wrong in a document.

    checkerTest.py SOURCE_FOLDER BUILD_FOLDER C_COMPILER
"""
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

import exceptions
import inline
import links
import shownOutput
import shownPictures
import snippets
from checkDocument import Check, unused_exceptions
from clone import Clone
from exceptions import Fault, exception_for
from markdown import Block, Document, commands
from repository import Repository

SOURCE, BUILD, COMPILER = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
REPOSITORY = Repository(SOURCE.resolve(), BUILD.resolve())


def document_of(text):
    with tempfile.NamedTemporaryFile("w", suffix=".md") as file:
        file.write(text)
        file.flush()
        return Document(pathlib.Path(file.name))


class Markdown(unittest.TestCase):
    def test_fences_and_indented_blocks_have_their_lines(self):
        document = document_of("a\n\n```sh\nls # all\n```\n\n    indented\n")
        self.assertEqual([(block.language, block.text, block.line) for block in document.blocks],
                         [("sh", "ls # all", 4), ("indented", "indented", 7)])

    def test_further_lines_of_a_list_are_prose(self):
        self.assertEqual(document_of("- one\n\n    two\n").blocks, [])

    def test_a_block_without_an_end_is_refused(self):
        with self.assertRaises(ValueError):
            document_of("```sh\nls\n")

    def test_a_span_may_run_over_the_end_of_a_line(self):
        spans = document_of("x `make\nbuild` y").spans()
        self.assertEqual([(span.text, span.line) for span in spans], [("make build", 1)])

    def test_commands_keep_their_lines_together(self):
        text = "a \\\n  b # c\n\ncat << END\n# kept\nEND\nfor i in 1; do\n  d\ndone"
        block = Block("sh", text, 10)
        self.assertEqual([line for _, line in commands(block)], [10, 13, 16])

    def test_anchors_are_those_of_the_headings(self):
        self.assertEqual(list(document_of("# The store: `brairu db`\n").anchors()),
                         ["the-store-brairu-db"])


class Prose(unittest.TestCase):
    def fault_of(self, text):
        return inline.fault_of_span(text, SOURCE / "README.md", REPOSITORY)

    def test_what_there_is_passes(self):
        for text in ("make build", "make eval PEOPLE=1", "brairu db compact", "db compact",
                     "brairu eval a/ --far 0.1", "brairu doctor --json", "BRAIRU_CONFIG",
                     "brairu --config c.json watch 0 --once", "brairu --version",
                     "FUZZ_SECONDS=30 make fuzz", "cmake --preset board", "ctest --preset release",
                     "build/release/brairu doctor", "brairu-palms F --people 3",
                     "training/make-models.sh", "exportModel.py", "--far", "userid"):
            self.assertIsNone(self.fault_of(text), text)

    def test_what_there_is_not_is_found(self):
        for text in ("make nonsense", "make eval PEOPEL=1", "brairu db nonsense",
                     "brairu nonsense", "brairu eval a/ --nonsense", "db compact --nonsense",
                     "brairu --config c.json watch 0 --nonsense", "brairu nonsense doctor",
                     "brairu --nonsense c.json watch 0",
                     "BRAIRU_NONSENSE", "NONSENSE_SECONDS=30 make", "cmake --preset nonsense",
                     "ctest --preset nonsense", "build/release/nonsense", "brairu-nonsense",
                     "brairu-palms F --nonsense 3", "training/nonsense.sh", "nonsense.py",
                     "--nonsense"):
            self.assertIsNotNone(self.fault_of(text), text)


class Synopses(unittest.TestCase):
    def faults_of(self, line):
        check = Check("README.md", REPOSITORY)
        check.read_synopses(Block("", line, 1))
        return check.faults

    def test_are_checked_whoever_runs_them(self):
        for line in ("brairu doctor {}", "sudo brairu db backup F {}", "make {}",
                     "runuser -u door -- brairu watch {}", "brairu db list | brairu doctor {}",
                     "30 3 * * * root brairu db backup F {} && find F -delete",
                     "*/5 * * * 1-5 door cd / && brairu doctor {}"):
            self.assertEqual(len(self.faults_of(line.format("--nonsense"))), 1, line)
            self.assertEqual(self.faults_of(line.format("build" if "make" in line else "")), [],
                             line)


class Links(unittest.TestCase):
    def test_of_what_the_packages_ship_lead_to_what_they_ship(self):
        with tempfile.TemporaryDirectory() as folder:
            shipped = pathlib.Path(folder)
            subprocess.run([SOURCE / "cmake/packaging/copyDocuments.sh", shipped], check=True)
            self.assertGreater(len(list(shipped.rglob("*.md"))), 10)
            self.assertEqual(list(links.lost_links_below(shipped)), [])
            shutil.rmtree(shipped / "training")
            self.assertNotEqual(list(links.lost_links_below(shipped)), [])

    def test_that_leave_the_folder_or_miss_the_heading_are_lost(self):
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / "docs/page.md"
            page.parent.mkdir()
            (page.parent.parent / "other.md").write_text("# There\n")
            page.write_text("[a](../other.md#there)\n[b](../other.md#nowhere)\n[c](none.md)\n")
            self.assertEqual([line for line, _ in links.lost_links(Document(page),
                                                                   page.parent.parent)], [2, 3])
            self.assertEqual([line for line, _ in links.lost_links(Document(page), page.parent)],
                             [1, 2, 3])


class Exceptions(unittest.TestCase):
    def judge(self, command, document="README.md"):
        exception, text = exception_for(document, command)
        return exception.action(text, Check("README.md", REPOSITORY).context)

    def test_a_target_that_is_not_run_has_to_be_there(self):
        self.assertEqual(self.judge("make package"), "")
        with self.assertRaises(Fault):
            self.judge("make nonsense")

    def test_packages_have_to_be_those_that_are_made(self):
        for command in ("sudo apt install ./build/package/amd64/*.deb", "apt install libbrairu0",
                        "sudo apt install ./build/package/arm64/libbrairu-dev_0.1.0_arm64.deb"):
            self.assertEqual(self.judge(command), "", command)
        for command in ("sudo apt install ./build/package/mips/*.deb", "apt install libbrairu9",
                        "sudo apt install ./build/package/amd64/brairu-nonsense_*.deb"):
            with self.assertRaises(Fault, msg=command):
                self.judge(command)

    def test_the_machine_itself_is_left_alone(self):
        for command in ("useradd palm", "install -d /var/lib/palm", "rm -rf /etc/brairu",
                        "cat > /dev/sda", 'cp a "/usr/lib"', "systemctl stop door"):
            self.assertTrue(exceptions.changes_system(command), command)
        for command in ("cc -x c /dev/null", "ls build/usr/lib", "cp a $HOME/var", "./etc/x"):
            self.assertFalse(exceptions.changes_system(command), command)

    def test_what_nothing_needs_is_found(self):
        self.assertNotEqual(list(unused_exceptions([], REPOSITORY)), [])


class Snippets(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.clone = Clone(REPOSITORY.source, REPOSITORY.build, COMPILER)

    @classmethod
    def tearDownClass(cls):
        cls.clone.__exit__()

    def test_of_each_language_are_told_apart(self):
        for language, right, wrong in (
                ("c", "deinit_pva();", "deinit_nonsense();"),
                ("json", '{"handpose":{"blur_threshold":1}}', '{"handpose":{"nonsense":1}}'),
                ("json", '"debug": true,', '"debug" true'),
                ("cmake", "add_executable(a a.c)", "nonsense()"),
                ("python", "a = 1", "a = = 1"),
                ("sql", "CREATE TABLE a (b INT)", "CREATE nonsense"),
                ("ini", "[Service]\nUser=palm", "User=palm")):
            trial = snippets.TRIALS[language]
            self.assertIsNone(trial(right, self.clone), right)
            self.assertIsNotNone(trial(wrong, self.clone), wrong)

    def test_a_snippet_is_saved_under_the_name_that_follows(self):
        snippets.save_as_named(Block("c", "int a;", 1), "cc -I include saved.c", self.clone)
        self.assertEqual((self.clone.root / "saved.c").read_text(), "int a;\n")

    def run_script(self, text):
        check = Check("README.md", REPOSITORY)
        check.document = document_of("```sh\n" + text + "\n```\n")
        check.run_script(self.clone, check.script())
        return check.faults

    def test_commands_run_in_one_shell_until_one_fails(self):
        self.assertEqual(self.run_script("cd examples\ntest -f door.c"), [])
        faults = self.run_script("true\nfalse || false\ntouch reached")
        self.assertEqual(len(faults), 1)
        self.assertTrue(faults[0].startswith("README.md:3: ended with 1"), faults)
        self.assertFalse((self.clone.root / "reached").exists())


class ShownPictures(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = pathlib.Path(scratch.name)
        (self.root / "docs").mkdir()
        (self.root / "docs/page.md").write_text("a\n![b](seen.png)\n")

    def png(self, pixel, kind=0, level=9):
        """Two by two, of three channels and all the same; the rows filtered so."""
        rows = (bytes([0] + 2 * pixel) * 2, bytes([1] + pixel + [0] * 3) * 2,
                bytes([1] + pixel + [0] * 3 + [2] + [0] * 6),
                bytes([1] + pixel + [0] * 3 + [4] + [0] * 6),
                bytes([1] + pixel + [0] * 3 + [3] + [(each + 1) // 2 for each in pixel] + [0] * 3),
                )[kind]
        parts = ((b"IHDR", struct.pack(">IIBBBBB", 2, 2, 8, 2, 0, 0, 0)),
                 (b"IDAT", zlib.compress(rows, level)), (b"IEND", b""))
        return shownPictures.SIGNATURE + b"".join(
            struct.pack(">I", len(data)) + kind + data + b"CRC." for kind, data in parts)

    def faults(self, shown, drawn):
        (self.root / "docs/seen.png").write_bytes(shown)
        if drawn:
            (self.root / "seen.png").write_bytes(drawn)
        return list(shownPictures.drawn_otherwise(Document(self.root / "docs/page.md"),
                                                  "brairu detect a --draw seen.png", self.root))

    def test_are_compared_by_pixels(self):
        plain = self.png([10, 20, 31])
        for kind in range(5):
            self.assertEqual(self.faults(self.png([10, 20, 31], kind, level=kind), plain), [], kind)
        self.assertEqual(self.faults(self.png([10, 20, 30]), plain),
                         [(2, "seen.png is not what the commands draw")])

    def test_have_to_be_drawn(self):
        self.assertEqual(self.faults(self.png([1, 2, 3]), None), [(2, "seen.png is not drawn")])


class ShownOutput(unittest.TestCase):
    printed = "box 223 x 291\nrefused, the palm\n  is dark\nlast 7 %\nstatus 1\n"

    def test_may_leave_out_and_have_other_numbers_and_breaks(self):
        for shown in ("box 1 x 2", "box 223 x 291\n…\nlast 8 %",
                      "…\nrefused, the\npalm is dark", "status 1"):
            self.assertIsNone(shownOutput.first_missing(shown, self.printed), shown)

    def test_has_to_be_printed_in_this_order(self):
        for shown in ("box 1 x 2 y", "last 7 %\n…\nbox 1 x 2", "status 2", "dark light"):
            self.assertIsNotNone(shownOutput.first_missing(shown, self.printed), shown)

    def test_that_the_commands_do_not_print_is_told(self):
        with Clone(REPOSITORY.source, REPOSITORY.build, COMPILER) as clone:
            check = Check("README.md", REPOSITORY)
            check.document = document_of("```sh\necho one\n```\n\n```text\ntwo\n```\n")
            check.run_script(clone, check.script())
        self.assertEqual(check.faults, [
            "README.md:6: is not what the commands before it print: two"])


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    unittest.main(argv=sys.argv[:1])
