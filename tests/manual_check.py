#!/usr/bin/python3
"""Checks the built user manual: its text holds every section of its source and
everything that a user must find in it, and each page with a picture renders
with that picture.

    manual_check.py Manual.pdf manual.html
"""
import glob
import html
import os
import re
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


def run(*command):
    return subprocess.run(command, check=True, capture_output=True).stdout


def words(text):
    text = text.replace("\u201c", '"').replace("\u201d", '"').replace("\u2019", "'")
    return re.sub(r"\s+", " ", text)


def main(pdf, source):
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
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
