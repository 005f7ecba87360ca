#!/usr/bin/env python3
"""Draws the launcher stub's icon: a large red cross on a transparent ground.

Writes one .ico with eight 32-bit images in this order: 256 (stored as PNG), 64,
48, 40, 32, 24, 20 and 16 pixels square. Standard library only, so the build
needs nothing beyond a Python interpreter.

Usage: make-stub-icon.py OUTPUT.ico
"""

import math
import sys

import icon_file

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


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with open(sys.argv[1], "wb") as output:
        output.write(icon_file.icon([draw(size) for size in SIZES]))


if __name__ == "__main__":
    main()
