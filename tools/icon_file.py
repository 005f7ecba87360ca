"""Writes Windows icon files from rows of straight (not premultiplied) RGBA pixels.

Shared by the icon scripts of this folder. Standard library only.
"""
import struct
import zlib


def png(rows):
    """A 32-bit PNG of square rows, top row first."""
    size = len(rows)

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    raw = b"".join(b"\x00" + bytes(c for pixel in row for c in pixel) for row in rows)
    header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
            chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def dib(rows):
    """A 32-bit icon image: header, BGRA rows bottom-up, then the AND mask."""
    size = len(rows)
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


def icon(images):
    """The .ico bytes of square images given as rows; 256 pixels is stored as PNG."""
    encoded = [(len(rows), png(rows) if len(rows) == 256 else dib(rows)) for rows in images]
    directory = struct.pack("<HHH", 0, 1, len(encoded))
    offset = len(directory) + 16 * len(encoded)
    entries = b""
    for size, image in encoded:
        entries += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(image), offset)
        offset += len(image)
    return directory + entries + b"".join(image for _, image in encoded)
