#!/usr/bin/env python3
"""Draws the program's icon: resources/icons/ferrymark.ico.

A rounded square in deep blue with a white boat hull on two waves and an arrow
that carries across it, from one side to the other. Six images, 32 bits a pixel:
256 x 256 (stored as PNG), 64, 48, 32, 24 and 16. Standard library only; run it
again after a change and commit the file it writes.
"""
import os

import icon_file

SIZES = [256, 64, 48, 32, 24, 16]


def inside_rounded_square(x, y, radius=0.2, margin=0.03):
    lo, hi = margin + radius, 1 - margin - radius
    dx = max(lo - x, 0, x - hi)
    dy = max(lo - y, 0, y - hi)
    return dx * dx + dy * dy <= radius * radius


def in_arrow(x, y):
    shaft = 0.18 < x < 0.66 and 0.25 < y < 0.35
    head = 0.66 <= x < 0.84 and abs(y - 0.30) < 0.15 * (0.84 - x) / 0.18
    return shaft or head


def in_hull(x, y):
    top, bottom = 0.47, 0.64
    if not top < y < bottom:
        return False
    inset = (y - top) / (bottom - top) * 0.12
    return 0.16 + inset < x < 0.84 - inset


def in_wave(x, y, level):
    import math
    crest = level + 0.025 * math.sin(x * 2 * math.pi * 3)
    return 0.12 < x < 0.88 and crest < y < crest + 0.05


def colour(x, y):
    """Straight (not premultiplied) RGBA of a point in the unit square."""
    if not inside_rounded_square(x, y):
        return (0, 0, 0, 0)
    shade = int(40 * y)
    background = (20 + shade, 70 + shade, 150 + shade, 255)
    if in_arrow(x, y) or in_hull(x, y) or in_wave(x, y, 0.70) or in_wave(x, y, 0.80):
        return (255, 255, 255, 255)
    return background


def render(size):
    samples = 4 if size <= 64 else 2
    pixels = []
    for py in range(size):
        row = []
        for px in range(size):
            acc = [0.0, 0.0, 0.0, 0.0]
            for sy in range(samples):
                for sx in range(samples):
                    r, g, b, a = colour((px + (sx + 0.5) / samples) / size,
                                        (py + (sy + 0.5) / samples) / size)
                    acc[0] += r * a
                    acc[1] += g * a
                    acc[2] += b * a
                    acc[3] += a
            alpha = acc[3] / samples ** 2
            if acc[3] > 0:
                rgb = [int(round(c / acc[3])) for c in acc[:3]]
            else:
                rgb = [0, 0, 0]
            row.append((rgb[0], rgb[1], rgb[2], int(round(alpha))))
        pixels.append(row)
    return pixels


def main():
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "resources", "icons")
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "ferrymark.ico"), "wb") as f:
        f.write(icon_file.icon([render(size) for size in SIZES]))


if __name__ == "__main__":
    main()
