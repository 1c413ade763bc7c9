"""Changes that cost little and that the renderer need not draw."""

import cv2
import numpy as np

cv2.setNumThreads(1)


def tone(image, rng, strength):
    """Another exposure, contrast and curve."""
    gamma = np.exp(rng.normal(0.0, 0.25 * strength))
    gain = np.exp(rng.normal(0.0, 0.18 * strength))
    offset = rng.normal(0.0, 8.0 * strength)
    table = 255.0 * (np.arange(256) / 255.0) ** gamma * gain + offset
    return cv2.LUT(image, np.clip(table, 0, 255).astype(np.uint8))


def noise(image, rng, deviation):
    grain = rng.standard_normal(image.shape, dtype=np.float32) * deviation
    return np.clip(image + grain + 0.5, 0, 255).astype(np.uint8)


def blur(image, rng, deviation):
    return cv2.GaussianBlur(image, (0, 0), rng.uniform(0.3, deviation))


def affine(rng, side, turn, zoom, shift):
    """A random similarity about the image's middle, 2 x 3."""
    angle = rng.uniform(-turn, turn)
    scale = np.exp(rng.uniform(-zoom, zoom))
    matrix = cv2.getRotationMatrix2D(((side - 1) / 2.0, (side - 1) / 2.0), angle, scale)
    matrix[:, 2] += rng.uniform(-shift, shift, 2) * side
    return matrix


def cover(image, rng, share):
    """A patch of one grey hides part of the image."""
    side = image.shape[0]
    height, width = (rng.uniform(0.05, share, 2) * side).astype(int) + 1
    top, left = rng.integers(0, side - height), rng.integers(0, side - width)
    image = image.copy()
    image[top:top + height, left:left + width] = rng.integers(0, 256)
    return image
