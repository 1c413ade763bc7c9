"""Error rates of similarities, as the trainings and the measurement on photographs share them."""

import numpy as np


def pairs(vectors, owners):
    """Similarities of every two of the vectors: of one owner, and of two."""
    likeness = vectors @ vectors.T
    same = owners[:, None] == owners[None, :]
    upper = np.triu(np.ones_like(same), 1).astype(bool)
    return likeness[same & upper], likeness[~same & upper]


def equal_error(genuine, impostor):
    """The error rate, 0 to 1, at the threshold where own palms are refused as often as others pass."""
    limits = np.unique(np.concatenate([genuine, np.quantile(impostor, np.linspace(0, 1, 20001))]))
    misses = np.searchsorted(np.sort(genuine), limits) / len(genuine)
    accepts = 1.0 - np.searchsorted(np.sort(impostor), limits) / len(impostor)
    at = np.argmin(np.abs(misses - accepts))
    return (misses[at] + accepts[at]) / 2
