#!/usr/bin/env python3
"""A training that was broken off ends as one that was not. Ends with 77 where PyTorch is missing.

    resumingTest.py SOURCE_FOLDER
"""
import argparse
import pathlib
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv[1])
NOT_TRIED = 77
STEPS = 9
SAVED_AFTER = 5

sys.path.insert(0, str(SOURCE / "training"))
try:
    import numpy as np
    import torch
except ImportError as missing:
    print(f"not tried: {missing}")
    sys.exit(NOT_TRIED)

import schedule


def options_of(*arguments):
    parser = argparse.ArgumentParser()
    schedule.add_options(parser, STEPS)
    parser.set_defaults(decay=1e-2)
    return parser.parse_args(arguments)


class Resuming(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def begin(self, name, *arguments):
        schedule.prepare(1)
        net = torch.nn.Sequential(torch.nn.Conv2d(1, 2, 3), torch.nn.BatchNorm2d(2),
                                  torch.nn.Flatten(), torch.nn.Linear(72, 3))
        return schedule.Run(net, str(self.folder / name), options_of(*arguments),
                            memory=np.zeros(STEPS, np.float32))

    @staticmethod
    def descend(run, steps):
        """Steps on batches that the run's own numbers draw; each leaves something in the memory."""
        while run.step < steps:
            frames = run.rng.integers(0, 256, (4, 8, 8)).astype(np.uint8)
            loss = (run.net(schedule.pixels(frames) / 255.0) ** 2).mean()
            run.memory[run.step] = loss.item()
            run.descend(loss)

    def assert_alike(self, one, other):
        for name, value in one.net.state_dict().items():
            self.assertTrue(torch.equal(value, other.net.state_dict()[name]), name)
        np.testing.assert_array_equal(one.memory, other.memory)

    def test_ends_as_if_it_had_not_been_broken_off(self):
        whole = self.begin("whole.npz")
        self.descend(whole, STEPS)
        broken = self.begin("broken.npz")
        self.descend(broken, SAVED_AFTER)
        broken.save()
        self.descend(broken, SAVED_AFTER + 2)
        again = self.begin("broken.npz")
        self.assertEqual(again.step, SAVED_AFTER)
        self.descend(again, STEPS)
        self.assert_alike(whole, again)

    def test_is_done_when_it_is_done(self):
        run = self.begin("done.npz")
        self.descend(run, STEPS)
        run.finish()
        self.assertFalse(self.begin("done.npz").running())

    def test_refuses_what_another_run_left(self):
        self.begin("other.npz").save()
        for arguments in (("--seed", "2"), ("--steps", "10"), ("--rate", "0.1")):
            with self.assertRaises(SystemExit) as refused:
                self.begin("other.npz", *arguments)
            self.assertIn("is of another run", str(refused.exception))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
