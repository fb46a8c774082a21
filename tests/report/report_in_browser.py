#!/usr/bin/env python3
"""The compare report as a person sees it, in headless Chromium.

The demo's report: its verdict, as text and as the banner's colour. A report
of three known patches: both halves of a patch show the expected sRGB
colours (published L*a*b* of the sRGB primaries), the failing patch has the
red frame and a passing one has none.

Usage: report_in_browser.py HXTVEL_TOOL. Exit 77 (skipped) without Debian's
chromium or Pillow.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

try:
    from PIL import Image
except ImportError:
    print("Pillow (python3-pil) is missing: skipped")
    sys.exit(77)

CHROMIUM = shutil.which("chromium") or shutil.which("chromium-browser")
if not CHROMIUM:
    print("chromium is missing: skipped")
    sys.exit(77)

TOOL = os.path.abspath(sys.argv[1])
WORK = tempfile.mkdtemp(prefix="hxtvel_report_")
FAILURES = []


def check(ok, what):
    print(("ok   " if ok else "FAIL ") + what)
    if not ok:
        FAILURES.append(what)


def browser(*args):
    flags = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--hide-scrollbars", "--user-data-dir=" + os.path.join(WORK, "profile")]
    return subprocess.run([CHROMIUM, *flags, *args], capture_output=True, text=True, timeout=120)


def screenshot(html, height):
    png = html + ".png"
    browser("--window-size=1200,%d" % height, "--screenshot=" + png, "file://" + html)
    return Image.open(png).convert("RGB")


def near(pixel, rgb, slack=3):
    return all(abs(a - b) <= slack for a, b in zip(pixel, rgb))


def find_halves(img, left, right, run=15):
    """(x, y) of the first row where `run` pixels of colour left meet `run` of colour right."""
    px, (w, h) = img.load(), img.size
    for y in range(h):
        count = 0
        for x in range(w):
            if near(px[x, y], left):
                count += 1
            elif count >= run and all(near(px[x + k, y], right) for k in range(run) if x + k < w):
                return x - 1, y
            else:
                count = 0
    return None


def find_run(img, colour, run):
    """(x, y) of the last pixel of the first run of `run` pixels of one colour."""
    px, (w, h) = img.load(), img.size
    for y in range(h):
        count = 0
        for x in range(w):
            count = count + 1 if near(px[x, y], colour) else 0
            if count == run:
                return x, y
    return None


def above(img, x, y, colour):
    """The first pixel above (x, y) that is not of the given colour."""
    px = img.load()
    while y > 0 and near(px[x, y], colour):
        y -= 1
    return px[x, y]


# The demo's report: the verdict a person reads, and its colour.
demo = subprocess.run([TOOL, "demo", "--out", os.path.join(WORK, "demo")], capture_output=True, text=True)
check(demo.returncode == 0, "the demo runs")
check(demo.stdout.strip().splitlines()[-1].startswith("report: "), "the demo's last line names the report")
html = os.path.join(WORK, "demo", "report.html")
verdict = "FAIL" if "compare      FAIL" in demo.stdout else "PASS"
text = browser("--dump-dom", "file://" + html).stdout
check(re.search(verdict + r": [^<]*dE00 3\.00", text) is not None, "the demo's report says " + verdict)
banner = screenshot(html, 600).getpixel((120, 30))
check(near(banner, (198, 40, 40) if verdict == "FAIL" else (27, 127, 59), 6), "the banner is %s: %s" % (verdict, banner))
check("http" not in open(html).read().replace("http://www.w3.org/2000/svg", ""), "nothing is loaded from elsewhere")

# Three known patches: sRGB red, green and blue as L*a*b* (D50); the sample
# measures blue where red belongs.
RED, GREEN, BLUE = "54.29 80.81 69.89", "87.82 -79.29 80.99", "29.57 68.30 -112.03"


def cgats(rows):
    lines = ["CGATS.17", 'MEASUREMENT_SOURCE\t"Filter=No\tIllumination=D50\tObserverAngle=2\tWhiteBase=Abs"',
             "NUMBER_OF_FIELDS\t4", "BEGIN_DATA_FORMAT", "SAMPLE_ID\tLAB_L\tLAB_A\tLAB_B", "END_DATA_FORMAT",
             "NUMBER_OF_SETS\t%d" % len(rows), "BEGIN_DATA"]
    lines += ["P%d\t%s" % (i + 1, lab.replace(" ", "\t")) for i, lab in enumerate(rows)]
    return "\n".join(lines + ["END_DATA", ""])


for name, rows in (("ref.cgats", [RED, GREEN, BLUE]), ("smp.cgats", [BLUE, GREEN, BLUE])):
    with open(os.path.join(WORK, name), "w") as f:
        f.write(cgats(rows))
html = os.path.join(WORK, "known.html")
run = subprocess.run([TOOL, "compare", "ref.cgats", "smp.cgats", "--tolerance", "3", "--columns", "3",
                      "--html", html], cwd=WORK, capture_output=True, text=True)
check(run.returncode == 1 and "FAIL: 1 patch above" in run.stdout, "compare fails one patch")
img = screenshot(html, 900)
red_blue = find_halves(img, (255, 0, 0), (0, 0, 255))
check(red_blue is not None, "a patch shows sRGB red beside sRGB blue")
green = find_run(img, (0, 255, 0), 36)
check(green is not None, "a patch shows sRGB green in both halves")
if red_blue:
    frame = above(img, red_blue[0] - 5, red_blue[1], (255, 0, 0))
    check(near(frame, (213, 0, 0), 10), "the failing patch is framed in red: %s" % (frame,))
if green:
    edge = above(img, green[0] - 5, green[1], (0, 255, 0))
    check(near(edge, (255, 255, 255), 10), "the passing patch has no frame: %s" % (edge,))

shutil.rmtree(WORK, ignore_errors=True)
if FAILURES:
    sys.exit("failed: " + "; ".join(FAILURES))
print("report in the browser: ok")
