#!/usr/bin/env python3
"""A door in Python: enrols a palm, or opens for the palms that it knows.

    door.py CONFIG enrol USER PALM FOLDER
    door.py CONFIG watch FOLDER

FOLDER holds grey pictures (*.pgm), taken by their names. Exit status: 0 enrolled, or opened for
somebody; 1 neither; 2 wrong usage, or a file that cannot be read. A value that is wrong in CONFIG
ends the process, since C++ exceptions do not become Python's: look with "brairu doctor" before.
"""
import ctypes
import pathlib
import re
import sys

FEATURE_BYTES = 3 * 512
MORE, COMMITTED, DUPLICATE = 10, 11, 13
ADVICE = {
    1: "move away from the left edge",
    2: "move away from the right edge",
    3: "move away from the upper edge",
    4: "move away from the lower edge",
    5: "too bright",
    6: "too dark",
    14: "move back, into even light",
    15: "come nearer, and hold still",
}


class Point(ctypes.Structure):
    _fields_ = [("x", ctypes.c_uint16), ("y", ctypes.c_uint16)]


class HandPose(ctypes.Structure):
    _fields_ = [
        ("center_x", ctypes.c_uint16),
        ("center_y", ctypes.c_uint16),
        ("width", ctypes.c_uint16),
        ("height", ctypes.c_uint16),
        ("key_points", Point * 7),
        ("placement_code", ctypes.c_uint32),
        ("orientation", ctypes.c_uint8),
    ]


class UserKey(ctypes.Structure):
    _fields_ = [
        ("userid", ctypes.c_int64),
        ("palmindex", ctypes.c_int32),
        ("reserved", ctypes.c_int32 * 3),
    ]


class RegisterResult(ctypes.Structure):
    _fields_ = [
        ("status", ctypes.c_int32),
        ("count", ctypes.c_int32),
        ("max_count", ctypes.c_int32),
    ]


class AuthResult(ctypes.Structure):
    _fields_ = [
        ("userid", ctypes.c_int64),
        ("palmindex", ctypes.c_int32),
        ("row_id", ctypes.c_int32),
        ("reserved", ctypes.c_int32),
        ("similarity", ctypes.c_float),
    ]


def load_library():
    library = ctypes.CDLL("libbrairu.so.0")
    frame = [ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint32, ctypes.POINTER(HandPose)]
    library.init_pva.argtypes = [ctypes.c_char_p]
    library.pvaGetHandPose.argtypes = frame
    library.pvaGetFeat.argtypes = frame + [ctypes.c_void_p]
    library.pvaRegister.argtypes = [
        ctypes.POINTER(UserKey),
        ctypes.c_void_p,
        ctypes.c_int,
        ctypes.POINTER(RegisterResult),
    ]
    library.pvaGetAuthRes.argtypes = [ctypes.c_void_p, ctypes.POINTER(AuthResult)]
    return library


def read_picture(path):
    """Width, height and bytes of a binary PGM without comments."""
    with path.open("rb") as file:
        head = re.match(rb"P5\s+(\d+)\s+(\d+)\s+255\s", file.read(64))
        if head is None:
            raise ValueError(f"{path}: no PGM with a maximum value of 255")
        file.seek(head.end())
        width, height = int(head[1]), int(head[2])
        pixels = file.read(width * height)
    if not pixels or len(pixels) < width * height:
        raise ValueError(f"{path}: too short")
    return width, height, pixels


def captures(library, folder):
    """The features of each good capture; says what is wrong with the others."""
    for path in sorted(pathlib.Path(folder).glob("*.pgm")):
        width, height, pixels = read_picture(path)
        luma = ctypes.create_string_buffer(pixels, len(pixels))
        hand = HandPose()
        features = ctypes.create_string_buffer(FEATURE_BYTES)
        if not library.pvaGetHandPose(luma, width, height, ctypes.byref(hand)):
            print("door: no hand", flush=True)
            continue
        code = library.pvaGetFeat(luma, width, height, ctypes.byref(hand), features)
        if code == 0:
            yield features
        else:
            print("door:", ADVICE.get(code, "hold the hand differently"), flush=True)


def enrol(library, user, palm, folder):
    key = UserKey(userid=user, palmindex=palm)
    result = RegisterResult(status=MORE)
    for features in captures(library, folder):
        library.pvaRegister(ctypes.byref(key), features, 1, ctypes.byref(result))
        print(f"door: {result.count} of {result.max_count} captures", flush=True)
        if result.status != MORE:
            break
    endings = {
        MORE: "not enrolled, too few captures",
        COMMITTED: "enrolled",
        DUPLICATE: "not enrolled, this palm already is",
    }
    print("door:", endings.get(result.status, "not enrolled, start again"), flush=True)
    return 0 if result.status == COMMITTED else 1


def watch(library, folder):
    opened = False
    for features in captures(library, folder):
        who = AuthResult()
        if library.pvaGetAuthRes(features, ctypes.byref(who)) == 1:
            print(f"door: open for user {who.userid}, palm {who.palmindex}", flush=True)
            opened = True  # here a door moves its bolt
        else:
            print("door: not recognised", flush=True)
    return 0 if opened else 1


def is_number(text, bits):
    """Whether text is a whole number of so many bits, one of them for the sign."""
    return re.fullmatch(r"[+-]?[0-9]+", text) and -(2 ** (bits - 1)) <= int(text) < 2 ** (bits - 1)


def main(arguments):
    enrols = len(arguments) == 5 and arguments[1] == "enrol"
    names_palm = enrols and is_number(arguments[2], 64) and is_number(arguments[3], 32)
    if enrols and not names_palm:
        print("door: USER and PALM are whole numbers", file=sys.stderr)
    if not names_palm and not (len(arguments) == 3 and arguments[1] == "watch"):
        print(__doc__, file=sys.stderr)
        return 2
    config, folder = pathlib.Path(arguments[0]), pathlib.Path(arguments[-1])
    if not config.is_file() or not folder.is_dir():
        print("door: the configuration or the folder is not there", file=sys.stderr)
        return 2
    library = load_library()
    library.init_pva(str(config).encode())
    try:
        if enrols:
            return enrol(library, int(arguments[2]), int(arguments[3]), folder)
        return watch(library, folder)
    except (OSError, ValueError) as fault:
        print("door:", fault, file=sys.stderr)
        return 2
    finally:
        library.deinit_pva()


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
