#!/usr/bin/python3
"""Trains an embedder of palm images: captures of one palm against those of others in the batch.

usage: trainPalm.py PALMS VALIDATION WEIGHTS.npz --images regions|whole [--steps N] [--seed S]
                    [--start WEIGHTS.npz]

"regions" trains one network on the regions A and B of a palm, "whole" on the whole crop. The mirror
image of a palm counts as another palm.
"""

import argparse
import schedule  # sets the threads' behaviour before torch is loaded

import cv2
import numpy as np
import torch
import torch.nn.functional as F

import augment
from errorRates import equal_error, pairs
from networks import SIDE, PalmNet

PALMS = 70
# Palms in a row that were taken with one camera.
CAMERA_PALMS = 50
CAPTURES = 2
SCALE = 24.0
MARGIN = 0.20
VIEWS = {"regions": (0, 1), "whole": (2,)}


def changed(image, mirrored, rng):
    if mirrored:
        image = image[:, ::-1]
    image = np.ascontiguousarray(image)
    if rng.random() < 0.6:
        matrix = augment.affine(rng, SIDE, 5.0, 0.06, 0.03)
        image = cv2.warpAffine(image, matrix, (SIDE, SIDE), borderMode=cv2.BORDER_REPLICATE)
    if rng.random() < 0.6:
        image = augment.tone(image, rng, 0.8)
    if rng.random() < 0.2:
        image = augment.blur(image, rng, 1.3)
    if rng.random() < 0.25:
        image = augment.noise(image, rng, rng.uniform(1.0, 7.0))
    if rng.random() < 0.15:
        image = augment.cover(image, rng, 0.25)
    return image


def batch_of(images, views, rng):
    """CAPTURES images each of PALMS palms, and for each image the number of its palm and view. One
    camera took them all: what it makes of every palm must not tell them apart."""
    parts, owners = [], []
    first = CAMERA_PALMS * int(rng.integers(len(images) // CAMERA_PALMS))
    for draw in rng.choice(2 * CAMERA_PALMS, PALMS, replace=False):
        palm, mirrored = first + draw // 2, draw % 2
        view = int(rng.choice(views))
        for capture in rng.choice(images.shape[1], CAPTURES, replace=False):
            parts.append(changed(images[palm, capture, view], mirrored, rng))
            owners.append((palm * 2 + mirrored) * 3 + view)
    return schedule.pixels(np.stack(parts)), torch.tensor(owners, device=schedule.DEVICE)


def loss_of(vectors, owners, margin):
    """Captures of one palm must be closer to each other, by the margin, than to those of others."""
    among = vectors @ vectors.t()
    same = owners[:, None] == owners[None, :]
    genuine = same & ~torch.eye(len(owners), dtype=torch.bool, device=owners.device)
    against = torch.logsumexp(among.masked_fill(same, -10.0) * SCALE, 1)[:, None]
    own = (among - margin) * SCALE
    return F.softplus(against - own)[genuine].mean(), among[genuine].mean()


@torch.no_grad()
def embed(net, images):
    net.eval()
    parts = [net(schedule.pixels(images[at:at + 200])) for at in range(0, len(images), 200)]
    net.train()
    return torch.cat(parts).cpu().numpy()


def validate(net, images, view):
    palms, captures = images.shape[:2]
    vectors = embed(net, np.ascontiguousarray(images[:, :, view]).reshape(-1, SIDE, SIDE))
    genuine, impostor = pairs(vectors, np.repeat(np.arange(palms), captures))
    return (f"view {view}: EER {100 * equal_error(genuine, impostor):.2f}%, genuine "
            f"{np.quantile(genuine, 0.01):.2f}..{np.median(genuine):.2f}.."
            f"{np.quantile(genuine, 0.99):.2f}, impostor {np.median(impostor):.2f}, "
            f"99.99% below {np.quantile(impostor, 0.9999):.2f}")


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("palms")
    parser.add_argument("validation")
    parser.add_argument("weights")
    parser.add_argument("--images", choices=sorted(VIEWS), required=True)
    schedule.add_options(parser, steps=8000)
    parser.set_defaults(decay=1e-2)
    options = parser.parse_args()

    schedule.prepare(options.seed)
    images = np.load(options.palms + "/images.npy", mmap_mode="r")
    held = np.load(options.validation + "/images.npy", mmap_mode="r")
    views = VIEWS[options.images]
    net = PalmNet()
    run = schedule.Run(net, options.weights, options)
    loss_mean, own_mean = 0.0, 0.0
    while run.running():
        frames, owners = batch_of(images, views, run.rng)
        with schedule.half_precision():
            vectors = net(frames)
        loss, own = loss_of(vectors, owners, MARGIN * min(1.0, run.progress() / 0.3))
        run.descend(loss)
        loss_mean = 0.98 * loss_mean + 0.02 * loss.item()
        own_mean = 0.98 * own_mean + 0.02 * own.item()
        if run.report_due():
            print(f"{100 * run.progress():5.1f}%  step {run.step}  loss {loss_mean:.3f}  "
                  f"genuine {own_mean:.3f}", flush=True)
        if run.save_due():
            run.save()
            print(validate(net, held[:100], views[0]), flush=True)
    run.finish()
    for view in views:
        print(f"done after {run.step} steps:", validate(net, held, view), flush=True)


if __name__ == "__main__":
    main()
