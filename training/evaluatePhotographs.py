#!/usr/bin/python3
"""Reports how networks do on photographs of hands.

usage: evaluatePhotographs.py FOLDER [--people INDEX.csv] [--sheet PICTURES SHEET.png]
                              [--usable-goal PERCENT] [--error-goal PERCENT]

FOLDER is what brairu-measure-photographs wrote. INDEX.csv has the columns `file` and `person`, and
may have pixel columns `NAME_x` and `NAME_y` of `index_middle`, `middle_ring` and `ring_little`: the
valleys between the fingers. With people, every two photographs are compared. The sheet shows
photographs in which no usable hand was found, then a choice of the others, with the key points.
"""

import argparse
import collections
import csv
import os

import cv2
import numpy as np

from errorRates import equal_error, pairs

VALLEYS = ("index_middle", "middle_ring", "ring_little")
TILE = 224


def read_table(path):
    with open(path, newline="") as file:
        return list(csv.DictReader(file))


def points_of(capture):
    return np.array([[float(capture[f"{axis}{i}"]) for axis in "xy"] for i in range(7)])


def share(part, whole):
    return f"{part} of {whole} ({100 * part / max(whole, 1):.2f} %)"


def verdict(value, goal, met):
    return f"{value}; goal {goal}: {'met' if met else 'missed'}"


def report_hands(captures, goal):
    usable = [c for c in captures if c["usable"] == "1"]
    found = sum(c["found"] == "1" for c in captures)
    hands = f"hands found {share(found, len(captures))}, usable {share(len(usable), len(captures))}"
    if goal:
        hands = verdict(hands, f"at least {goal:g} %", 100 * len(usable) >= goal * len(captures))
    print(hands)
    for code, count in sorted(collections.Counter(c["code"] for c in usable).items()):
        print(f"code {code}: {share(count, len(usable))} of usable")


def report_valleys(captures, index):
    """Finger bases lie on either side of a valley, so their middle must be near it."""
    offsets = []
    for capture in captures:
        truth = index.get(capture["file"], {})
        if capture["usable"] != "1" or f"{VALLEYS[0]}_x" not in truth:
            continue
        points = points_of(capture)
        breadth = np.linalg.norm(points[5] - points[2])
        for i, name in enumerate(VALLEYS):
            valley = np.array([float(truth[name + "_x"]), float(truth[name + "_y"])])
            offsets.append(np.linalg.norm((points[2 + i] + points[3 + i]) / 2 - valley) / breadth)
    if offsets:
        print(f"valleys off by {100 * np.mean(offsets):.1f} % of the breadth of the finger bases, "
              f"95 % within {100 * np.quantile(offsets, 0.95):.1f} %")


def unit(vectors):
    vectors = vectors.astype(np.float32)
    return vectors / np.maximum(np.linalg.norm(vectors, axis=-1, keepdims=True), 1e-6)


def accepted_at(genuine, impostor, false_rate):
    return 100 * np.mean(genuine > np.quantile(impostor, 1.0 - false_rate))


def report_people(captures, features, index, goal):
    rows = [i for i, c in enumerate(captures) if c["code"] == "0" and c["file"] in index]
    people = np.array([index[captures[i]["file"]]["person"] for i in rows])
    vectors = unit(features[rows])
    print(f"features of {share(len(rows), len(captures))}, people {len(set(people))}")
    blocks = {f"block {b}": vectors[:, b] for b in range(3)}
    blocks["mean of the three"] = vectors.reshape(len(vectors), -1) / 3 ** 0.5
    errors = {}
    for name, block in blocks.items():
        genuine, impostor = pairs(block, people)
        errors[name] = 100 * equal_error(genuine, impostor)
        print(f"{name:18s} EER {errors[name]:5.2f} %  accepted at FAR 1e-3 "
              f"{accepted_at(genuine, impostor, 1e-3):6.2f} %  genuine median "
              f"{np.median(genuine):.3f}, impostor median {np.median(impostor):.3f}, largest "
              f"{impostor.max():.3f}")
    if goal:
        error = errors["mean of the three"]
        print(verdict(f"EER of the mean {error:.2f} %", f"below {goal:g} %", error < goal))
    report_rule(vectors, people)


def report_rule(vectors, people):
    """Identification accepts when all three blocks lie above the thresholds."""
    scores = [pairs(vectors[:, block], people) for block in range(3)]
    least_own = np.min([own for own, _ in scores], 0)
    least_other = np.min([other for _, other in scores], 0)
    for limit in (0.5, 0.6, 0.68, 0.7, 0.75, 0.8):
        print(f"all three above {limit:.2f}: own palm {100 * np.mean(least_own > limit):6.2f} %, "
              f"another {100 * np.mean(least_other > limit):6.2f} % of {len(least_other)} pairs")


def drawn(pictures, capture):
    picture = cv2.imread(os.path.join(pictures, capture["file"]), cv2.IMREAD_GRAYSCALE)
    scale = TILE / max(picture.shape)
    picture = cv2.resize(picture, None, fx=scale, fy=scale, interpolation=cv2.INTER_AREA)
    tile = np.zeros((TILE, TILE, 3), np.uint8)
    tile[:picture.shape[0], :picture.shape[1]] = picture[..., None]
    if capture["found"] == "1":
        colour = (0, 255, 0) if capture["usable"] == "1" else (0, 0, 255)
        for number, (x, y) in enumerate(points_of(capture) * scale):
            cv2.circle(tile, (round(x), round(y)), 2, colour, cv2.FILLED)
            cv2.putText(tile, str(number), (round(x) + 3, round(y)), cv2.FONT_HERSHEY_SIMPLEX, 0.35,
                        colour)
    return tile


def draw_sheet(captures, pictures, path):
    lost = [c for c in captures if c["usable"] != "1"][:24]
    kept = [c for c in captures if c["usable"] == "1"]
    kept = kept[::max(1, len(kept) // 16)][:16 + 24 - len(lost)]
    tiles = [drawn(pictures, capture) for capture in lost + kept]
    tiles += [np.zeros_like(tiles[0])] * (-len(tiles) % 8)
    rows = [np.hstack(tiles[i:i + 8]) for i in range(0, len(tiles), 8)]
    cv2.imwrite(path, np.vstack(rows))


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--people")
    parser.add_argument("--sheet", nargs=2)
    parser.add_argument("--usable-goal", type=float)
    parser.add_argument("--error-goal", type=float)
    options = parser.parse_args()
    captures = read_table(options.folder + "/captures.csv")
    if not captures:
        raise SystemExit(f"no photographs in {options.folder}/captures.csv")
    report_hands(captures, options.usable_goal)
    if options.people:
        index = {os.path.basename(row["file"]): row for row in read_table(options.people)}
        report_valleys(captures, index)
        report_people(captures, np.load(options.folder + "/features.npy"), index,
                      options.error_goal)
    if options.sheet:
        draw_sheet(captures, *options.sheet)


if __name__ == "__main__":
    main()
