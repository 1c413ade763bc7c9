"""What both trainings share: a run that is bounded by time, not by epochs."""

import math
import os
import time

os.environ.setdefault("OMP_WAIT_POLICY", "PASSIVE")
os.environ.setdefault("GOMP_SPINCOUNT", "0")

import torch

WARM_UP = 0.03


class TimedRun:
    """Hands out the share of the time that is used up, and the learning rate that goes with it."""

    def __init__(self, minutes, peak):
        self.start = time.time()
        self.seconds = 60.0 * minutes
        self.peak = peak
        self.saved = self.start
        self.reported = self.start

    def progress(self):
        return min(1.0, (time.time() - self.start) / self.seconds)

    def rate(self):
        done = self.progress()
        if done < WARM_UP:
            return self.peak * max(done / WARM_UP, 0.02)
        falling = (done - WARM_UP) / (1.0 - WARM_UP)
        return self.peak * (0.01 + 0.99 * 0.5 * (1.0 + math.cos(math.pi * falling)))

    def running(self):
        return self.progress() < 1.0

    def due(self, what, seconds):
        now = time.time()
        if now - getattr(self, what) < seconds:
            return False
        setattr(self, what, now)
        return True


def prepare(seed):
    torch.set_num_threads(1)
    torch.manual_seed(seed)


def half_precision():
    """Convolutions in bfloat16: nearly twice as fast where the processor has it."""
    return torch.autocast("cpu", dtype=torch.bfloat16)


def set_rate(optimiser, rate):
    for group in optimiser.param_groups:
        group["lr"] = rate


def add_options(parser):
    """The command line that every training shares."""
    parser.add_argument("--minutes", type=float, default=30.0)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--rate", type=float, default=2e-3)
    parser.add_argument("--start")


def descend(net, optimiser, loss):
    """One step down the gradient of loss, of bounded length."""
    optimiser.zero_grad()
    loss.backward()
    torch.nn.utils.clip_grad_norm_(net.parameters(), 5.0)
    optimiser.step()
