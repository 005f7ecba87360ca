#!/usr/bin/env python3
"""Draws the target list's images: resources/bitmaps/simulator-NN.bmp.

Seven 32 x 32 pictures, 24 bits a pixel: a round badge with an aeroplane seen
from above. 12 to 16 carry the digits 1 to 5, one colour each, for the Prepar3D
versions; 10 and 11 are the plain badges in two further colours. Standard
library only; run it again after a change and commit the files it writes.
"""
import os
import struct

SIZE = 32
SAMPLES = 4  # per axis, for smooth edges

# Badge colours (red, green, blue) by resource identifier.
COLOURS = {
    10: (96, 104, 116),
    11: (46, 139, 87),
    12: (52, 101, 164),
    13: (0, 128, 128),
    14: (196, 98, 16),
    15: (117, 80, 123),
    16: (192, 38, 48),
}

# Digits on a 3 x 5 grid, top row first.
DIGITS = {
    1: ["010", "110", "010", "010", "111"],
    2: ["111", "001", "111", "100", "111"],
    3: ["111", "001", "011", "001", "111"],
    4: ["101", "101", "111", "001", "001"],
    5: ["111", "100", "111", "001", "111"],
}


def in_plane(x, y):
    """The aeroplane, nose up, in a frame of 0..1 on both axes."""
    fuselage = abs(x - 0.5) < 0.055 and 0.10 < y < 0.86
    nose = 0.06 < y <= 0.10 and abs(x - 0.5) < 0.055 * (y - 0.06) / 0.04
    wing_y = 0.42 + abs(x - 0.5) * 0.35
    wings = abs(x - 0.5) < 0.40 and wing_y < y < wing_y + 0.13
    tail_y = 0.76 + abs(x - 0.5) * 0.2
    tail = abs(x - 0.5) < 0.17 and tail_y < y < tail_y + 0.08
    return fuselage or nose or wings or tail


def in_digit(digit, x, y):
    """A digit in the lower right corner of the badge, 2 pixels a cell."""
    left, top, cell = 24, 20, 2
    column = int((x - left) // cell)
    row = int((y - top) // cell)
    if 0 <= column < 3 and 0 <= row < 5:
        return DIGITS[digit][row][column] == "1"
    return False


def in_digit_plate(x, y):
    return 22 <= x < 32 and 18 <= y < 32


def pixel(identifier, px, py):
    """The colour of one pixel, averaged over its samples."""
    badge = COLOURS[identifier]
    digit = identifier - 11 if identifier >= 12 else None
    total = [0.0, 0.0, 0.0]
    for sy in range(SAMPLES):
        for sx in range(SAMPLES):
            x = px + (sx + 0.5) / SAMPLES
            y = py + (sy + 0.5) / SAMPLES
            colour = (255, 255, 255)
            if (x - 16) ** 2 + (y - 16) ** 2 <= 15.5 ** 2:
                colour = badge
                if in_plane(x / SIZE, y / SIZE):
                    colour = (255, 255, 255)
            if digit is not None and in_digit_plate(x, y):
                colour = (255, 255, 255)
                if in_digit(digit, x, y):
                    colour = badge
            for i in range(3):
                total[i] += colour[i]
    return tuple(int(round(c / SAMPLES ** 2)) for c in total)


def bmp(identifier):
    rows = []
    for py in reversed(range(SIZE)):  # bottom-up
        row = bytearray()
        for px in range(SIZE):
            r, g, b = pixel(identifier, px, py)
            row += bytes((b, g, r))
        rows.append(bytes(row))  # 96 bytes: already a multiple of 4
    pixels = b"".join(rows)
    info = struct.pack("<IiiHHIIiiII", 40, SIZE, SIZE, 1, 24, 0, len(pixels), 2835, 2835, 0, 0)
    header = struct.pack("<2sIHHI", b"BM", 14 + len(info) + len(pixels), 0, 0, 14 + len(info))
    return header + info + pixels


def main():
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "resources", "bitmaps")
    os.makedirs(folder, exist_ok=True)
    for identifier in COLOURS:
        with open(os.path.join(folder, "simulator-%d.bmp" % identifier), "wb") as f:
            f.write(bmp(identifier))


if __name__ == "__main__":
    main()
