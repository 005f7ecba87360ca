#!/usr/bin/env python3
"""Draws the launcher stub's icon: a large red cross on a transparent ground.

Writes one .ico with eight 32-bit images in this order: 256 (stored as PNG), 64,
48, 40, 32, 24, 20 and 16 pixels square. Standard library only, so the build
needs nothing beyond a Python interpreter.

Usage: make-stub-icon.py OUTPUT.ico
"""

import math
import struct
import sys
import zlib

SIZES = (256, 64, 48, 40, 32, 24, 20, 16)
FILL = (204, 0, 16)
EDGE = (102, 0, 12)


def segment_distance(px, py, ax, ay, bx, by):
    """Distance from (px, py) to the segment from (ax, ay) to (bx, by)."""
    dx, dy = bx - ax, by - ay
    t = ((px - ax) * dx + (py - ay) * dy) / (dx * dx + dy * dy)
    t = max(0.0, min(1.0, t))
    return math.hypot(px - (ax + t * dx), py - (ay + t * dy))


def clamp01(value):
    return max(0.0, min(1.0, value))


def draw(size):
    """The cross as rows of straight (not premultiplied) RGBA tuples, top row first.

    Two diagonal strokes with round ends; the signed distance to their outline
    gives each pixel its coverage, so the edges are smooth at every size.
    """
    margin = size * 0.17
    half_width = size * 0.135
    edge = max(1.5, size * 0.04)
    low, high = margin, size - margin
    rows = []
    for y in range(size):
        row = []
        for x in range(size):
            cx, cy = x + 0.5, y + 0.5
            distance = min(segment_distance(cx, cy, low, low, high, high),
                           segment_distance(cx, cy, high, low, low, high)) - half_width
            alpha = clamp01(0.5 - distance)
            inner = clamp01(0.5 - (distance + edge))
            colour = tuple(round(e + (f - e) * inner) for f, e in zip(FILL, EDGE))
            row.append(colour + (round(255 * alpha),))
        rows.append(row)
    return rows


def png(size, rows):
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    raw = b"".join(b"\x00" + bytes(c for pixel in row for c in pixel) for row in rows)
    header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
            chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def dib(size, rows):
    """A 32-bit icon image: header, BGRA rows bottom-up, then the AND mask."""
    pixels = b"".join(bytes((b, g, r, a)) for row in reversed(rows) for (r, g, b, a) in row)
    stride = ((size + 31) // 32) * 4
    mask = bytearray()
    for row in reversed(rows):
        bits = bytearray(stride)
        for x, pixel in enumerate(row):
            if pixel[3] == 0:
                bits[x // 8] |= 0x80 >> (x % 8)
        mask += bits
    header = struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, 32, 0,
                         len(pixels) + len(mask), 0, 0, 0, 0)
    return header + pixels + bytes(mask)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    images = []
    for size in SIZES:
        rows = draw(size)
        images.append(png(size, rows) if size == 256 else dib(size, rows))
    directory = struct.pack("<HHH", 0, 1, len(images))
    offset = len(directory) + 16 * len(images)
    entries = b""
    for size, image in zip(SIZES, images):
        side = 0 if size == 256 else size
        entries += struct.pack("<BBBBHHII", side, side, 0, 0, 1, 32, len(image), offset)
        offset += len(image)
    with open(sys.argv[1], "wb") as output:
        output.write(directory + entries + b"".join(images))


if __name__ == "__main__":
    main()
