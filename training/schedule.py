"""What the trainings share: a run of a fixed number of steps that can be broken off and taken up."""

import contextlib
import math
import os
import time

os.environ.setdefault("OMP_WAIT_POLICY", "PASSIVE")
os.environ.setdefault("GOMP_SPINCOUNT", "0")

import numpy as np
import torch

from networks import load_weights, save_weights

WARM_UP = 0.03
REPORT_SECONDS = 20.0
SAVE_STEPS = 500
# What a run was told that may be elsewhere when it is taken up.
FOLDERS = ("palms", "frames", "validation", "weights")
DEVICE = torch.device("cuda" if torch.cuda.is_available() else "cpu")


class Run:
    """Counts steps, sets the learning rate that goes with them, and keeps what a training has come
    to in WEIGHTS.npz and WEIGHTS.npz.state: a run that was broken off ends as if it had not been.
    `memory` is an array of what a training keeps from step to step beside its network."""

    def __init__(self, net, weights, options, memory=None):
        self.net = net.to(DEVICE, memory_format=torch.channels_last)
        self.weights = weights
        self.memory = memory
        self.plan = {name: value for name, value in vars(options).items() if name not in FOLDERS}
        self.plan["memory"] = None if memory is None else len(memory)
        self.steps = options.steps
        self.peak = options.rate
        self.step = 0
        self.reported = time.time()
        self.optimiser = torch.optim.AdamW(net.parameters(), weight_decay=options.decay)
        self.rng = np.random.default_rng(options.seed)
        if os.path.exists(self.state_path()):
            self.resume()
        elif options.start:
            load_weights(net, options.start)
        net.train()

    def state_path(self):
        return self.weights + ".state"

    def progress(self):
        return self.step / self.steps

    def rate(self):
        done = self.progress()
        if done < WARM_UP:
            return self.peak * max(done / WARM_UP, 0.02)
        falling = (done - WARM_UP) / (1.0 - WARM_UP)
        return self.peak * (0.01 + 0.99 * 0.5 * (1.0 + math.cos(math.pi * falling)))

    def running(self):
        return self.step < self.steps

    def descend(self, loss):
        """One step down the gradient of loss, of bounded length."""
        for group in self.optimiser.param_groups:
            group["lr"] = self.rate()
        self.optimiser.zero_grad()
        loss.backward()
        torch.nn.utils.clip_grad_norm_(self.net.parameters(), 5.0)
        self.optimiser.step()
        self.step += 1

    def report_due(self):
        now = time.time()
        if now - self.reported < REPORT_SECONDS:
            return False
        self.reported = now
        return True

    def save_due(self):
        return self.step % SAVE_STEPS == 0 and self.running()

    def save(self):
        save_weights(self.net, self.weights)
        state = {"plan": self.plan, "net": self.net.state_dict(),
                 "optimiser": self.optimiser.state_dict(), "step": self.step,
                 "rng": self.rng.bit_generator.state,
                 "memory": None if self.memory is None else torch.from_numpy(self.memory)}
        torch.save(state, self.state_path() + ".new")
        os.replace(self.state_path() + ".new", self.state_path())

    def resume(self):
        state = torch.load(self.state_path(), map_location=DEVICE)
        if state["plan"] != self.plan:
            raise SystemExit(f"{self.state_path()} is of another run: {state['plan']}; "
                             "remove it, or give the weights another name")
        self.net.load_state_dict(state["net"])
        self.optimiser.load_state_dict(state["optimiser"])
        self.rng.bit_generator.state = state["rng"]
        if self.memory is not None:
            self.memory[:] = state["memory"].cpu().numpy()
        self.step = state["step"]
        print(f"taken up at step {self.step}", flush=True)

    def finish(self):
        """The state remains: started once more, the run has nothing left to do."""
        self.save()


def prepare(seed):
    torch.set_num_threads(1)
    torch.manual_seed(seed)


def half_precision():
    """Convolutions in bfloat16: nearly twice as fast where the processor has it. Older GPUs do not."""
    if DEVICE.type == "cuda" and not torch.cuda.is_bf16_supported():
        return contextlib.nullcontext()
    return torch.autocast(DEVICE.type, dtype=torch.bfloat16)


def pixels(frames):
    """Frames (count, SIDE, SIDE) of bytes as a network takes them, on the device that trains."""
    batch = torch.from_numpy(frames).to(DEVICE).float().unsqueeze(1)
    return batch.to(memory_format=torch.channels_last)


def add_options(parser, steps):
    """The command line that every training shares."""
    parser.add_argument("--steps", type=int, default=steps)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--rate", type=float, default=2e-3)
    parser.add_argument("--start")
