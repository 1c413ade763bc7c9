#!/usr/bin/env python3
"""training/make-models.sh, with stand-ins for what it calls: what is whole is kept, half is not.

    makeModelsTest.py SOURCE_FOLDER
"""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = pathlib.Path(sys.argv[1])

# Each stand-in is a shell script that writes its name and arguments to "calls", and makes what it is
# asked for.
STAND_INS = {
    "cmake/installPackages.sh": "",
    "build/release/brairu-training-set": 'mkdir -p "$2"; sleep "${SLOW_DRAWING:-0}"; '
                                         'echo drawn > "$2/images.npy"; echo "$3 frames"',
    "build/release/brairu-models": 'cp "$2" "$3"',
    "build/release/brairu": 'echo measured',
    "trainer": 'echo step 1; sleep "${SLOW:-0}"; '
               '[ "${FAILS:-}" != "$1" ] || { echo no memory; exit 3; }; '
               'echo weights > "$4"; echo done',
}
# The one that is run by Python.
EXPORTER = """import sys
for part in ("net", "blobs"):
    open(f"{sys.argv[3]}.{part}", "w").write(f"{sys.argv[1]} {part}")
"""
CONTAINERS = {f"{name}.{part}" for name in ("handpose", "support", "feature")
              for part in ("net", "blobs")}


class Workshop:
    """A scratch repository with the script alone."""

    def __init__(self):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="brairu-workshop-"))
        self.calls_file = self.root / "calls"
        self.started = []
        for name, action in STAND_INS.items():
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(
                f'#!/bin/sh\necho "{path.name} $*" >> "{self.calls_file}"\n{action}\n')
            path.chmod(0o755)
        (self.root / "training").mkdir()
        (self.root / "training/exportModel.py").write_text(EXPORTER)
        shutil.copy(SOURCE / "training/make-models.sh", self.root / "training")

    def start(self, **variables):
        self.calls_file.write_text("")
        kept = {name: os.environ[name] for name in ("PATH", "HOME", "LANG") if name in os.environ}
        process = subprocess.Popen(["training/make-models.sh"], cwd=self.root,
                                   env=kept | {"TRAINER": str(self.root / "trainer")} | variables,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                   start_new_session=True)
        self.started.append(process)
        return process

    def close(self):
        """Ends what still runs, and leaves nothing."""
        for process in self.started:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.stdout.close()
            process.wait()
        shutil.rmtree(self.root, ignore_errors=True)

    def break_off(self, program, count, **variables):
        """Ends a run once so many calls of a program have begun; its exit status."""
        process = self.start(**variables)
        deadline = time.monotonic() + 30
        while len(self.calls(program)) < count:
            if time.monotonic() > deadline:
                raise AssertionError(self.calls_file.read_text())
            time.sleep(0.05)
        os.killpg(process.pid, signal.SIGTERM)
        process.communicate(timeout=30)
        return process.returncode

    def run(self, **variables):
        """The exit status and what was said."""
        process = self.start(**variables)
        said, _ = process.communicate(timeout=60)
        return process.returncode, said

    def calls(self, program):
        return [line for line in self.calls_file.read_text().splitlines()
                if line.startswith(program + " ")]

    def trained(self):
        return len(self.calls("trainer"))

    def drawn(self):
        return len(self.calls("brairu-training-set"))


class MakeModels(unittest.TestCase):
    def setUp(self):
        self.shop = Workshop()
        self.addCleanup(self.shop.close)

    def test_draws_trains_packs_and_measures(self):
        status, said = self.shop.run(PEOPLE="50", FRAMES="200", POSE_STEPS="3", PALM_STEPS="4")
        self.assertEqual(status, 0, said)
        work = "build/training"
        self.assertCountEqual(self.shop.calls("brairu-training-set"), [
            f"brairu-training-set poses {work}/poses 200 2001",
            f"brairu-training-set palms {work}/palms 50 6 2002 mixed",
            f"brairu-training-set poses {work}/poses-held 4000 77001",
            f"brairu-training-set palms {work}/palms-held 200 6 77002 mixed"])
        palms = f"training/trainPalm.py {work}/palms {work}/palms-held {work}"
        self.assertCountEqual(self.shop.calls("trainer"), [
            f"trainer training/trainPose.py {work}/poses {work}/poses-held {work}/handpose.npz"
            " --seed 1 --steps 3",
            f"trainer {palms}/support.npz --images regions --seed 2 --steps 4",
            f"trainer {palms}/feature.npz --images whole --seed 3 --steps 4"])
        made = {path.name for path in (self.shop.root / "models").iterdir()}
        self.assertEqual(made, CONTAINERS | {"SHA256SUMS"})
        checked = subprocess.run(["sha256sum", "--check", "--quiet", "SHA256SUMS"],
                                 cwd=self.shop.root / "models", check=False)
        self.assertEqual(checked.returncode, 0)
        self.assertIn("measured", said)

    def test_neither_draws_nor_trains_twice(self):
        self.shop.run()
        status, said = self.shop.run()
        self.assertEqual((status, self.shop.drawn(), self.shop.trained()), (0, 0, 0), said)
        self.assertEqual(len(self.shop.calls("brairu")), 1)

    def test_takes_up_trainings_that_were_broken_off(self):
        self.assertEqual(self.shop.break_off("trainer", 3, SLOW="30"), 130)
        self.assertFalse((self.shop.root / "models/SHA256SUMS").exists())
        status, said = self.shop.run()
        self.assertEqual((status, self.shop.drawn(), self.shop.trained()), (0, 0, 3), said)

    def test_draws_anew_what_was_half_drawn(self):
        self.assertEqual(self.shop.break_off("brairu-training-set", 2, SLOW_DRAWING="30"), 130)
        status, said = self.shop.run()
        self.assertEqual((status, self.shop.drawn(), self.shop.trained()), (0, 4, 3), said)

    def test_refuses_a_folder_of_other_numbers_or_seeds(self):
        self.shop.run(FRAMES="200")
        status, said = self.shop.run(FRAMES="300")
        self.assertEqual(status, 1)
        self.assertIn("build/training has poses made with other arguments: poses "
                      "build/training/poses 200 2001\n", said)
        self.assertEqual((self.shop.drawn(), self.shop.trained()), (0, 0))
        status, said = self.shop.run(FRAMES="300", WORK="build/other")
        self.assertEqual((status, self.shop.drawn(), self.shop.trained()), (0, 4, 3), said)

    def test_programs_may_have_moved(self):
        self.shop.run()
        (self.shop.root / "build/release").rename(self.shop.root / "elsewhere")
        status, said = self.shop.run(BUILD="elsewhere")
        self.assertEqual((status, self.shop.drawn(), self.shop.trained()), (0, 0, 0), said)

    def test_a_training_that_fails_says_why_and_is_begun_again(self):
        status, said = self.shop.run(FAILS="training/trainPose.py")
        self.assertNotEqual(status, 0)
        self.assertIn("no memory", said)
        self.assertFalse((self.shop.root / "models/SHA256SUMS").exists())
        status, said = self.shop.run()
        self.assertEqual(status, 0, said)
        self.assertEqual(self.shop.drawn(), 0)
        self.assertIn("trainer training/trainPose.py", self.shop.calls_file.read_text())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
