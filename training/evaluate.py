#!/usr/bin/python3
"""Reports how well features tell palms apart, and the thresholds that follow.

usage: evaluate.py FEATURES.npy [--enrol N]

FEATURES.npy holds signed bytes (palms, captures, 3, 512); captures of zeros only are left out. A
palm's template is the truncated mean of its first N captures, as enrolment forms it with one
centre; the other captures are probes.
"""

import argparse

import numpy as np


def unit(vectors):
    vectors = vectors.astype(np.float32)
    return vectors / np.maximum(np.linalg.norm(vectors, axis=-1, keepdims=True), 1e-6)


def equal_error(genuine, impostor):
    limits = np.unique(np.concatenate([genuine, np.quantile(impostor, np.linspace(0, 1, 20001))]))
    misses = np.searchsorted(np.sort(genuine), limits) / len(genuine)
    accepts = 1.0 - np.searchsorted(np.sort(impostor), limits) / len(impostor)
    at = np.argmin(np.abs(misses - accepts))
    return 100 * (misses[at] + accepts[at]) / 2


def accepted_at(genuine, impostor, false_rate):
    return 100 * np.mean(genuine > np.quantile(impostor, 1.0 - false_rate))


def describe(name, genuine, impostor):
    own = np.quantile(genuine, (0.001, 0.01, 0.05, 0.5, 0.95, 0.99))
    other = np.quantile(impostor, (0.5, 0.99, 0.9999, 1.0))
    print(f"{name:20s} EER {equal_error(genuine, impostor):5.2f} %  "
          f"accepted at FAR 1e-4 {accepted_at(genuine, impostor, 1e-4):6.2f} %  "
          f"genuine {spaced(own)}  impostor {spaced(other)}")


def spaced(values):
    return " ".join(f"{value:.3f}" for value in values)


def probe_scores(features, enrol):
    """Cosines (probes, palms, 3) of probes with templates, and the palm of each probe."""
    good = np.abs(features.astype(int)).sum((2, 3)) > 0
    templates, probes, owners = [], [], []
    for palm in range(len(features)):
        usable = features[palm][good[palm]]
        templates.append(np.trunc(usable[:enrol].astype(np.float32).mean(0)))
        for capture in usable[enrol:]:
            probes.append(capture)
            owners.append(palm)
    probes, templates = unit(np.stack(probes)), unit(np.stack(templates))
    scores = [probes[:, block] @ templates[:, block].T for block in range(3)]
    return np.stack(scores, 2), np.array(owners)


def capture_pairs(features):
    """Block-0 cosines of different captures of one palm."""
    scores = []
    for palm in features:
        vectors = unit(palm[np.abs(palm.astype(int)).sum((1, 2)) > 0][:, 0])
        scores.append((vectors @ vectors.T)[np.triu_indices(len(vectors), 1)])
    return np.concatenate(scores)


def dynamic_check(features, enrol):
    """How often a fresh capture passes the cap against the first half of an enrolment."""
    for level, cap in ((1, 0.90), (2, 0.85), (3, 0.80), (4, 0.75)):
        passed = total = 0
        for palm in features:
            vectors = unit(palm[np.abs(palm.astype(int)).sum((1, 2)) > 0][:, 0])
            half = enrol // 2
            for next_capture in range(half, len(vectors)):
                passed += (vectors[:half] @ vectors[next_capture]).max() <= cap
                total += 1
        print(f"level {level} (cap {cap:.2f}): {100 * passed / total:6.2f} % of captures pass")


def decisions(scores, mine):
    """The 1:N rule over a grid of thresholds, for own palms and for all others."""
    print("auth filter   genuine accepted   wrong palm accepted (comparisons, worst per probe)")
    for auth in (0.40, 0.50, 0.60, 0.70, 0.75, 0.80):
        for extra in (-0.1, 0.0):
            limit = auth + extra
            accepted = (scores[..., :2] > auth).all(2) & (scores[..., 2] > limit)
            wrong = accepted & ~mine
            print(f"{auth:.2f} {limit:.2f}   {100 * accepted[mine].mean():8.3f} %   "
                  f"{wrong.sum()} of {(~mine).sum()}  {100 * wrong.any(1).mean():.3f} %")


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("features")
    parser.add_argument("--enrol", type=int, default=6)
    options = parser.parse_args()
    features = np.load(options.features)
    scores, owners = probe_scores(features, options.enrol)
    mine = np.zeros(scores.shape[:2], bool)
    mine[np.arange(len(owners)), owners] = True
    print(f"{len(features)} palms, {len(owners)} probes; genuine at 0.1, 1, 5, 50, 95, 99 %, "
          "impostor at 50, 99, 99.99 % and largest")
    for block, name in enumerate(("block 0 (region A)", "block 1 (region B)", "block 2 (whole)")):
        describe(name, scores[..., block][mine], scores[..., block][~mine])
    describe("mean of the three", scores.mean(2)[mine], scores.mean(2)[~mine])
    decisions(scores, mine)
    pairs = capture_pairs(features)
    print("block 0 between captures of one palm at 1, 5, 50, 95, 99 %: " +
          spaced(np.quantile(pairs, (0.01, 0.05, 0.5, 0.95, 0.99))))
    dynamic_check(features, options.enrol)


if __name__ == "__main__":
    main()
