"""The pictures that a document shows, against those of the same names that its commands draw."""
import re
import struct
import zlib

SIGNATURE = b"\x89PNG\r\n\x1a\n"
CHANNELS = {0: 1, 2: 3, 6: 4}  # of each colour type: grey, RGB, RGBA


def drawn_otherwise(document, commands, root):
    """(line, what is wrong) of each shown picture that the commands drew below root, and is not
    what they drew. One file may differ from another of the same pixels."""
    for target, line in document.links():
        name = target.rpartition("/")[2]
        if not re.search(rf"--draw \S*{re.escape(name)}(?!\S)", commands):
            continue
        shown = document.path.parent / target
        drawn = [path for path in root.rglob(name) if root / "docs" not in path.parents]
        if not drawn:
            yield line, f"{name} is not drawn"
        elif pixels(drawn[0].read_bytes()) != pixels(shown.read_bytes()):
            yield line, f"{target} is not what the commands draw"


def pixels(png):
    """Width, height, channels and rows of bytes, of a picture without a palette or a second pass."""
    if not png.startswith(SIGNATURE):
        raise ValueError("no PNG")
    parts = dict.fromkeys((b"IHDR", b"IDAT"), b"")
    place = len(SIGNATURE)
    while place < len(png):
        length, kind = struct.unpack(">I4s", png[place:place + 8])
        if kind in parts:
            parts[kind] += png[place + 8:place + 8 + length]
        place += length + 12
    width, height, depth, colour, _, _, passes = struct.unpack(">IIBBBBB", parts[b"IHDR"])
    if depth != 8 or colour not in CHANNELS or passes != 0:
        raise ValueError("a form of PNG that is not read here")
    return width, height, CHANNELS[colour], rows(zlib.decompress(parts[b"IDAT"]), width, height,
                                                 CHANNELS[colour])


def rows(filtered, width, height, step):
    above = bytearray(width * step)
    taken = []
    for row in range(height):
        start = row * (width * step + 1)
        line = filtered[start + 1:start + 1 + width * step]
        above = unfiltered(filtered[start], line, above, step)
        taken.append(bytes(above))
    return taken


def unfiltered(kind, line, above, step):
    done = bytearray(line)
    for place in range(len(line)):
        left, upper = done[place - step] if place >= step else 0, above[place]
        corner = above[place - step] if place >= step else 0
        guess = (0, left, upper, (left + upper) // 2, nearest(left, upper, corner))[kind]
        done[place] = (line[place] + guess) % 256
    return done


def nearest(left, upper, corner):
    guess = left + upper - corner
    return min((left, upper, corner), key=lambda each: abs(guess - each))
