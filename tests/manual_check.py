#!/usr/bin/python3
"""Checks the built user manual: its text holds every section of its source and
everything that a user must find in it, each page with a picture renders with
that picture, and each picture is a whole window, caption bar and frame, whose
caption is the one the manual quotes.

    manual_check.py Manual.pdf manual.html SCREENSHOTS
"""
import glob
import html
import os
import re
import struct
import subprocess
import sys
import tempfile

# What the manual must explain: its subjects, the boxes a user meets by their
# captions, and the settings an administrator may set, with their defaults.
REQUIRED = [
    "What Ferrymark does", "What Ferrymark never touches", "Installing", "Uninstalling",
    "Setting a simulator's location", "Activating", "Deactivating",
    "What happens to each simulator", "Logs", "Backups", "log1.txt", "backup1",
    '"Files in use"', '"Backup error"', '"Invalid folder"', '"Verification error"',
    '"Missing manual"', "red cross", "cut short", "msiexec /fa",
    "A newer version of Ferrymark is already installed.", "press Deactivate and then remove it",
    "LogLimit", "LogLevel", "BackupRoot", "BackupLimit", "AppcastURL",
    "C:\\ProgramData\\Kestrane\\Ferrymark", "C:\\Program Files\\Kestrane\\Ferrymark",
    "https://updates.kestrane.com/update/ferrymark/feed.xml",
]

# The caption of the window in each picture; the manual quotes the boxes' captions
# in its text.
CAPTIONS = {
    "greeting.png": "Ferrymark", "main-first-start.png": "Ferrymark",
    "main-three-locations.png": "Ferrymark", "main-active.png": "Ferrymark",
    "simulator-dialog-add.png": "Configure simulator", "simulator-dialog-edit.png": "Configure simulator",
    "files-in-use.png": "Files in use", "invalid-folder.png": "Invalid folder",
    "verification-error.png": "Verification error", "stub-flight-simulator-x.png": "Ferrymark",
}


def check_pictures(markup, text, pictures):
    """The end-to-end run records beside each picture the window's caption, its
    size and where its client area lies in it."""
    failures = []
    for name in re.findall(r'<img src="([^"]+)"', markup):
        facts = dict(line.split(" ", 1) for line in open(os.path.join(pictures, name[:-4] + ".txt"))
                     .read().splitlines() if " " in line)
        width, height = struct.unpack(">II", open(os.path.join(pictures, name), "rb").read()[16:24])
        client_x, client_y = (int(v) for v in facts["client"].split()[:2])
        if facts["window"] != f"{width} {height}":
            failures.append(f"{name} is {width}x{height}, its window {facts['window']}")
        # A caption bar above the client area and a frame beside it...
        if client_y < 18 or client_x < 1:
            failures.append(f"{name} shows no caption bar or frame (client area at {client_x},{client_y})")
        # ...that holds something drawn: text and buttons, not one flat colour.
        colours = int(run("convert", os.path.join(pictures, name), "-crop", f"{width}x{client_y}+0+0",
                          "+repage", "-format", "%k", "info:"))
        if colours < 8:
            failures.append(f"{name}: its caption bar is blank ({colours} colours)")
        wanted = CAPTIONS.get(name)
        if facts.get("caption") != wanted:
            failures.append(f"{name}: the window's caption is {facts.get('caption')!r}, not {wanted!r}")
        elif wanted != "Ferrymark" and f'"{wanted}"' not in text:
            failures.append(f"{name}: the manual does not quote the caption \"{wanted}\"")
    return failures


def run(*command):
    return subprocess.run(command, check=True, capture_output=True).stdout


def words(text):
    text = text.replace("\u201c", '"').replace("\u201d", '"').replace("\u2019", "'")
    return re.sub(r"\s+", " ", text)


def main(pdf, source, pictures):
    failures = []
    text = words(run("pdftotext", "-layout", pdf, "-").decode("utf-8"))
    page_text = words(run("pdftotext", pdf, "-").decode("utf-8"))
    markup = open(source, encoding="utf-8").read()
    headings = [words(html.unescape(re.sub(r"<[^>]+>", "", h)))
                for h in re.findall(r"<h[23][^>]*>(.*?)</h[23]>", markup, re.S)]
    # A long name may break across the lines of a table cell.
    squashed = re.sub(r"\s", "", page_text)
    for wanted in headings + REQUIRED:
        if wanted not in text and wanted not in page_text and re.sub(r"\s", "", wanted) not in squashed:
            failures.append(f"the manual's text lacks {wanted!r}")

    failures += check_pictures(markup, text, pictures)

    pages = int(re.search(rb"Pages:\s+(\d+)", run("pdfinfo", pdf)).group(1))
    pictures = markup.count("<img ")
    listing = run("pdfimages", "-list", pdf).decode().splitlines()[2:]
    image_pages = sorted({int(row.split()[0]) for row in listing if row.split()[2] == "image"})
    images = sum(1 for row in listing if row.split()[2] == "image")
    if images != pictures:
        failures.append(f"{images} pictures in the PDF, {pictures} in its source")
    with tempfile.TemporaryDirectory() as work:
        for page in image_pages:
            run("pdftoppm", "-gray", "-r", "30", "-f", str(page), "-l", str(page), pdf, f"{work}/p")
            rendered = glob.glob(f"{work}/p*.pgm")[0]
            data = open(rendered, "rb").read()
            header = re.match(rb"P5\s+(\d+)\s+(\d+)\s+(\d+)\s", data)
            pixels = data[header.end():]
            inked = sum(1 for value in pixels if value < 200) / len(pixels)
            # A page of text alone inks a few percent; a screenshot far more.
            if inked < 0.04:
                failures.append(f"page {page} renders nearly blank ({inked:.1%} inked)")
            os.remove(rendered)
    print(f"{pages} pages, {images} pictures on pages {image_pages}, "
          f"{len(headings)} headings and {len(REQUIRED)} required texts checked")
    for failure in failures:
        print("FAIL:", failure)
    print("-- PASS" if not failures else "-- FAILED")
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
