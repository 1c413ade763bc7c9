"""A scratch folder that looks like a fresh clone after `make build`, with frames to work on."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile

LEFT_OUT = ("build", ".git", "__pycache__")
# Libraries of a board, which the guide to boards links.
BOARD_LIBRARIES = ("openvx", "openvx-nn", "nn", "soft-nn", "log")


class Clone:
    def __init__(self, source, build, compiler):
        self.source = source
        self.build = build
        self.compiler = shutil.which(compiler) or compiler
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="brairu-documents-"))
        self.root = self.home / "brairu"
        shutil.copytree(source, self.root, symlinks=True,
                        ignore=shutil.ignore_patterns(*LEFT_OUT))
        (self.root / "build").mkdir()
        (self.root / "build/release").symlink_to(build)
        (self.root / "data").mkdir(exist_ok=True)
        self._make_programs()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.home, ignore_errors=True)

    # sudo does what it is told as who one is; cc is the compiler of the build.
    def _make_programs(self):
        programs = self.home / "bin"
        programs.mkdir()
        for name, text in (("sudo", 'exec "$@"'), ("cc", f'exec "{self.compiler}" "$@"')):
            (programs / name).write_text(f"#!/bin/sh\n{text}\n")
            (programs / name).chmod(0o755)
        (self.home / "tmp").mkdir()

    def environment(self):
        kept = {name: value for name, value in os.environ.items()
                if not name.startswith("BRAIRU_") and name not in ("MAKEFLAGS", "CC")}
        prefix = self.home / "installed"
        libraries = next(prefix.rglob("pkgconfig"), prefix).parent
        return kept | {
            "PATH": f"{self.home / 'bin'}:{self.build}:{kept['PATH']}:/usr/sbin",
            "HOME": str(self.home),
            "TMPDIR": str(self.home / "tmp"),
            "SCRATCH": str(self.home),
            "LC_ALL": "C.UTF-8",
            "PKG_CONFIG_PATH": str(libraries / "pkgconfig"),
            "CMAKE_PREFIX_PATH": str(prefix),
            "LIBRARY_PATH": str(self.home / "board"),
        }

    def run(self, *command):
        subprocess.run(command, cwd=self.root, env=self.environment(), check=True,
                       stdout=subprocess.DEVNULL)

    def prepare(self, commands):
        """What these commands of a document suppose to be there."""
        if re.search(r"pkg-config|find_package", commands):
            self.install_library()
        if "-lopenvx" in commands:
            self.make_board_libraries()
        if re.search(r"(?<![\w./])(frames?|one|other|pictures)(\.png|/)", commands):
            self.draw_frames()

    def install_library(self):
        """What the packages of the library install, for programs to be built against."""
        for component in ("library", "platform", "development"):
            self.run("cmake", "--install", str(self.build), "--prefix",
                     str(self.home / "installed"), "--component", component)

    def make_board_libraries(self):
        """Empty ones of the names that a board's have."""
        (self.home / "board").mkdir()
        for name in BOARD_LIBRARIES:
            self.run("cc", "-shared", f"-Wl,-soname,lib{name}.so", "-o",
                     str(self.home / "board" / f"lib{name}.so"), "-x", "c", "/dev/null")

    def draw_frames(self):
        """Frames under the names that the documents take for pictures of one's own."""
        album = self.home / "album"
        self.run("brairu-palms", str(album), "--people", "3", "--captures", "14", "--seed", "11")
        captures = sorted(album.glob("0L_*.png"), key=lambda path: int(re.split("_|[.]",
                                                                                path.name)[1]))
        (self.root / "frames").mkdir()
        for number, capture in enumerate(captures[:12]):
            shutil.copy(capture, self.root / "frames" / f"hand-{number:02}.png")
        shutil.copy(captures[12], self.root / "frame.png")
        shutil.copy(captures[12], self.root / "one.png")
        shutil.copy(captures[13], self.root / "other.png")
        (self.root / "pictures").mkdir()
        for capture in album.glob("*_[0-3].png"):
            shutil.copy(capture, self.root / "pictures")
