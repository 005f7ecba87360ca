#!/usr/bin/python3
"""Gives an MSI package a fixed revision number and fixed times in its summary
information, so that the same inputs make the same bytes.

wixl writes a random revision number (the package code) and the current time as
creation and save time. Both are rewritten in place; the stream keeps its size.

    fix-summary.py PACKAGE.msi PACKAGE-CODE UNIX-TIME
"""
import struct
import sys

import olefile

STREAM = "\x05SummaryInformation"
PID_REVISION, PID_CREATED, PID_SAVED = 9, 12, 13
VT_LPSTR, VT_FILETIME = 30, 64


def main(path, package_code, unix_time):
    filetime = (int(unix_time) + 11644473600) * 10_000_000
    with olefile.OleFileIO(path, write_mode=True) as package:
        data = bytearray(package.openstream(STREAM).read())
        section = struct.unpack_from("<I", data, 44)[0]
        count = struct.unpack_from("<I", data, section + 4)[0]
        seen = set()
        for index in range(count):
            pid, offset = struct.unpack_from("<II", data, section + 8 + 8 * index)
            at = section + offset
            kind = struct.unpack_from("<I", data, at)[0]
            if pid == PID_REVISION and kind == VT_LPSTR:
                size = struct.unpack_from("<I", data, at + 4)[0]
                text = package_code.encode("ascii") + b"\0"
                if len(text) != size:
                    sys.exit(f"fix-summary: the revision number holds {size} bytes, not {len(text)}")
                data[at + 8:at + 8 + size] = text
                seen.add(pid)
            elif pid in (PID_CREATED, PID_SAVED) and kind == VT_FILETIME:
                struct.pack_into("<Q", data, at + 4, filetime)
                seen.add(pid)
        if seen != {PID_REVISION, PID_CREATED, PID_SAVED}:
            sys.exit(f"fix-summary: {path} lacks summary fields {sorted({9, 12, 13} - seen)}")
        package.write_stream(STREAM, bytes(data))


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
