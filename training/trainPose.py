#!/usr/bin/python3
"""Trains the hand-pose network on rendered frames.

usage: trainPose.py FRAMES VALIDATION WEIGHTS.npz [--steps N] [--seed S] [--start WEIGHTS.npz]
"""

import argparse

import schedule  # sets the threads' behaviour before torch is loaded

import cv2
import numpy as np
import torch
import torch.nn.functional as F

import augment
from networks import SIDE, PoseNet, anchor_centres

BATCH = 64
# Weight of a frame without a palm that raises no alarm; a sure alarm adds 1.
EASY = 0.05
ANCHORS = anchor_centres().to(schedule.DEVICE)
# Largest side of the key points' box, in pixels, that each stride answers for.
RANGES = {8.0: (0.0, 42.0), 16.0: (28.0, 84.0), 32.0: (60.0, 1000.0)}


def changed(image, label, rng):
    points = label[1:].reshape(7, 2).copy()
    if rng.random() < 0.5:
        image = image[:, ::-1]
        points[:, 0] = SIDE - 1 - points[:, 0]
    if rng.random() < 0.4:
        matrix = augment.affine(rng, SIDE, 25.0, 0.2, 0.08)
        image = cv2.warpAffine(np.ascontiguousarray(image), matrix, (SIDE, SIDE),
                               borderMode=cv2.BORDER_REFLECT_101)
        points = points @ matrix[:, :2].T + matrix[:, 2]
    if rng.random() < 0.7:
        image = augment.tone(np.ascontiguousarray(image), rng, 1.0)
    if rng.random() < 0.15:
        image = augment.blur(image, rng, 1.2)
    if rng.random() < 0.3:
        image = augment.noise(image, rng, rng.uniform(1.0, 10.0))
    if rng.random() < 0.15:
        image = augment.cover(image, rng, 0.25)
    inside = (points > -2.0).all() and (points < SIDE + 1.0).all()
    hand = float(label[0]) * (1.0 if inside else -1.0)
    return np.ascontiguousarray(image), points.reshape(-1), hand


class FrameChoice:
    """Which frames a batch takes: half show an open palm; of the others, those come more often that
    the network took for one when it last saw them."""

    def __init__(self, labels):
        self.palms = np.flatnonzero(labels[:, 0] > 0)
        self.others = np.flatnonzero(labels[:, 0] == 0)
        self.alarms = np.ones(len(labels), np.float32)

    def rows(self, rng):
        chances = np.cumsum(EASY + self.alarms[self.others], dtype=np.float64)
        drawn = np.searchsorted(chances, rng.random(BATCH // 2) * chances[-1])
        return np.concatenate([rng.choice(self.palms, BATCH - BATCH // 2), self.others[drawn]])

    def learn(self, rows, logits):
        self.alarms[rows] = torch.sigmoid(logits.detach().max(1).values.float()).cpu().numpy()


def batch_of(images, labels, rows, rng):
    parts = [changed(images[i], labels[i], rng) for i in rows]
    points = torch.from_numpy(np.stack([p[1] for p in parts])).float().to(schedule.DEVICE)
    hands = torch.tensor([p[2] for p in parts], device=schedule.DEVICE)
    return schedule.pixels(np.stack([p[0] for p in parts])), points, hands


def targets(points, hands):
    """Per anchor 1 for a hand, 0 for none, -1 for either; hands of -1 lie partly outside."""
    pairs = points.view(-1, 7, 2)
    low, high = pairs.min(1).values, pairs.max(1).values
    size = (high - low).max(1).values
    middle = (low + high) / 2
    away = (ANCHORS[None, :, :2] - middle[:, None]).abs().max(2).values / ANCHORS[None, :, 2]
    range_of = torch.tensor([RANGES[s] for s in ANCHORS[:, 2].tolist()], device=size.device)
    fits = (size[:, None] >= range_of[:, 0]) & (size[:, None] <= range_of[:, 1])
    stride = ANCHORS[None, :, 2]
    near = stride * away < torch.maximum(size[:, None] * 0.5, 1.6 * stride)
    wanted = torch.zeros_like(away)
    wanted[near] = -1.0
    wanted[(away <= 0.75) & fits] = 1.0
    wanted[hands == 0] = 0.0
    wanted[hands < 0] = -1.0
    return wanted, size


def loss_of(logits, found, points, hands):
    wanted, size = targets(points, hands)
    known = wanted >= 0
    probability = torch.sigmoid(logits)
    hardness = (wanted - probability).abs().detach() ** 1.5
    score = F.binary_cross_entropy_with_logits(logits, wanted.clamp(min=0), reduction="none")
    positive = wanted == 1
    count = positive.sum().clamp(min=1)
    score_loss = (score * hardness * known).sum() / count
    error = (found - points[:, None]).abs() / size.clamp(min=8)[:, None, None]
    error = torch.where(error < 0.01, error ** 2 / 0.02, error - 0.005)
    point_loss = (error.mean(2) * positive).sum() / count
    return score_loss + 12.0 * point_loss, score_loss.item(), point_loss.item()


@torch.no_grad()
def validate(net, images, labels, threshold=0.6):
    net.eval()
    found, errors, alarms, hands, empty = 0, [], 0, 0, 0
    for begin in range(0, len(images), 200):
        logits, points = net(schedule.pixels(images[begin:begin + 200]))
        best = logits.max(1)
        for k in range(len(logits)):
            label = labels[begin + k]
            hit = torch.sigmoid(best.values[k]).item() >= threshold
            if label[0] > 0:
                hands += 1
                if hit:
                    found += 1
                    offset = (points[k, best.indices[k]].cpu().numpy() - label[1:]).reshape(7, 2)
                    errors.append(np.hypot(offset[:, 0], offset[:, 1]).mean())
            else:
                empty += 1
                alarms += hit
    net.train()
    text = f"found {100 * found / hands:.2f}% of hands, false alarms {100 * alarms / empty:.2f}%"
    if errors:
        text += (f", key points off by {np.mean(errors):.2f} px "
                 f"(90% within {np.quantile(errors, 0.9):.2f})")
    return text


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("frames")
    parser.add_argument("validation")
    parser.add_argument("weights")
    schedule.add_options(parser, steps=14000)
    parser.set_defaults(decay=1e-3)
    options = parser.parse_args()

    schedule.prepare(options.seed)
    images = np.load(options.frames + "/images.npy", mmap_mode="r")
    labels = np.load(options.frames + "/labels.npy")
    held_images = np.load(options.validation + "/images.npy")
    held_labels = np.load(options.validation + "/labels.npy")
    net = PoseNet()
    choice = FrameChoice(labels)
    run = schedule.Run(net, options.weights, options, memory=choice.alarms)
    score, point = 0.0, 0.0
    while run.running():
        rows = choice.rows(run.rng)
        frames, points, hands = batch_of(images, labels, rows, run.rng)
        with schedule.half_precision():
            logits, found = net(frames)
        choice.learn(rows, logits)
        loss, s, p = loss_of(logits, found, points, hands)
        run.descend(loss)
        score, point = 0.98 * score + 0.02 * s, 0.98 * point + 0.02 * p
        if run.report_due():
            print(f"{100 * run.progress():5.1f}%  step {run.step}  score {score:.3f}  "
                  f"points {point:.4f}", flush=True)
        if run.save_due():
            run.save()
            print(validate(net, held_images[:1000], held_labels[:1000]), flush=True)
    run.finish()
    print(f"done after {run.step} steps:", validate(net, held_images, held_labels), flush=True)


if __name__ == "__main__":
    main()
