#!/usr/bin/env python3
"""Every code block of the README stays true.

C blocks are compiled as C99 against the built library and run in a scratch
folder; every `hxtvel SUBCOMMAND ...` line of a shell block names a
subcommand and options that `hxtvel SUBCOMMAND --help` knows, and its
arguments parse (the line is run with its files replaced by ones the line
itself makes, where that is cheap: demo, chart, info, export, compare);
Python blocks must compile.

Usage: readme_blocks.py README BUILD_DIR HXTVEL_TOOL
"""
import os
import re
import shlex
import subprocess
import sys
import tempfile

readme, build, tool = sys.argv[1], os.path.abspath(sys.argv[2]), os.path.abspath(sys.argv[3])
blocks = re.findall(r"^```(\w+)\n(.*?)^```", open(readme, encoding="utf-8").read(), re.S | re.M)
failures = []
work = tempfile.mkdtemp(prefix="hxtvel_readme_")


def check(ok, what):
    print(("ok   " if ok else "FAIL ") + what)
    if not ok:
        failures.append(what)


def run(args, **kw):
    return subprocess.run(args, capture_output=True, text=True, cwd=work, **kw)


helps = {}
for lang, code in blocks:
    if lang == "c":
        src = os.path.join(work, "block%d.c" % len(helps))
        open(src, "w").write(code)
        exe = src[:-2]
        cc = run(["cc", "-std=c99", "-pedantic", "-Wall", "-Werror", "-I" + os.path.join(build, "include"), src,
                  "-o", exe, "-L" + build, "-lhxtvel", "-Wl,-rpath," + build])
        check(cc.returncode == 0, "C block compiles: " + cc.stderr.strip()[:300])
        if cc.returncode == 0:
            check(run([exe]).returncode == 0, "C block runs")
    elif lang == "python":
        try:
            compile(code, "README python block", "exec")
            check(True, "Python block compiles")
        except SyntaxError as e:
            check(False, "Python block compiles: %s" % e)
    elif lang == "sh":
        for line in code.splitlines():
            words = shlex.split(line, comments=True)
            if not words or words[0] not in ("hxtvel", "./build/tools/hxtvel/hxtvel"):
                continue
            sub = words[1]
            if sub not in helps:
                helps[sub] = run([tool, sub, "--help"])
            h = helps[sub]
            check(h.returncode == 0, "hxtvel %s is a subcommand" % sub)
            for w in words[2:]:
                option = w.split("=")[0]
                if option.startswith("-"):
                    check(re.search(r"(^|[\s,])%s\b" % re.escape(option), h.stdout) is not None,
                          "hxtvel %s knows %s" % (sub, option))

# The README's own round: demo, then the lines that use its files, as written.
demo = run([tool, "demo", "--out", "hxtvel-demo"])
check(demo.returncode == 0, "hxtvel demo runs")
for args in (["compare", "hxtvel-demo/reference.cgats", "hxtvel-demo/measurement.cgats", "--tolerance", "3",
              "--html", "report.html", "--chart", "hxtvel-demo/chart.json"],
             ["export", "hxtvel-demo/measurement.cgats", "-o", "measured.csv", "--header"],
             ["info", "hxtvel-demo/measurement.cgats", "--json"],
             ["charts", "hxtvel-demo/measurement.spectrobin"],
             ["chart", "hxtvel-demo/reference.cgats", "-o", "out/chart", "--page", "A4", "--dpi", "300",
              "--patch", "6x6", "--layout", "tl-right"]):
    r = run([tool, *args])
    check(r.returncode in (0, 1), "hxtvel %s: %s" % (" ".join(args), r.stderr.strip()[:200]))

subprocess.run(["rm", "-rf", work])
if failures:
    sys.exit("README blocks: %d failed" % len(failures))
print("README blocks: ok")
