#!/usr/bin/env python3
"""Compares every measurement file of a folder against a reference, with Dask:
one task per file, spread over the workers of a cluster.

    archive_dask.py REFERENCE FOLDER [--pattern '*.cgats'] [--scheduler ADDRESS] [--tolerance 3]

Without --scheduler it starts a local cluster (a worker process per core).
With --scheduler tcp://host:8786 the same code runs on a real cluster: start
`dask scheduler` on one machine and `dask worker tcp://host:8786` on each
other (each with hxtvel installed and the folder reachable at the same path),
and the tasks go to the workers. Prints one line per file and a summary;
exit status 1 when a file has a patch above the tolerance or no values to
compare (a file that cannot be read is named with the cause; the others
still count).
"""
import argparse
import glob
import os
import sys

import numpy as np


def compare(reference_lab, path, method):
    """The CIEDE2000 summary of one file, or why it has none (runs on a worker)."""
    import warnings

    import hxtvel
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")  # the import's notes
            m = hxtvel.read_cgats(path, kinds=["lab"])
    except (hxtvel.Error, OSError) as e:
        return path, "cannot be read: %s" % e
    if m.lab is None or len(m.lab) != len(reference_lab):
        return path, "no L*a*b* for the reference's %d patches" % len(reference_lab)
    de = hxtvel.delta_e(reference_lab, m.lab, method)
    return path, (float(de.mean()), float(np.percentile(de, 95)), float(de.max()), int(de.argmax()))


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("reference")
    ap.add_argument("folder")
    ap.add_argument("--pattern", default="*.cgats")
    ap.add_argument("--scheduler", help="address of a running Dask scheduler (default: a local cluster)")
    ap.add_argument("--tolerance", type=float, default=3.0)
    ap.add_argument("--method", default="2000")
    args = ap.parse_args(argv)

    import hxtvel
    from dask.distributed import Client, LocalCluster

    reference = hxtvel.read_cgats(args.reference, kinds=["lab"]).lab
    files = sorted(glob.glob(os.path.join(args.folder, args.pattern)))
    cluster = None if args.scheduler else LocalCluster(processes=True, dashboard_address=None)
    with Client(args.scheduler or cluster) as client:
        ref = client.scatter(reference, broadcast=True)
        results = client.gather(client.map(compare, [ref] * len(files), files, [args.method] * len(files)))
    if cluster is not None:
        cluster.close()
    over = unusable = 0
    for path, s in results:
        if isinstance(s, str):
            print("%s: %s" % (path, s))
            unusable += 1
            continue
        bad = s[2] > args.tolerance
        over += bad
        print("%s: mean %.2f, p95 %.2f, max %.2f (patch %d) %s" % (path, *s[:3], s[3] + 1, "FAIL" if bad else "ok"))
    print("%d files, %d above dE %.2f, %d without values" % (len(results), over, args.tolerance, unusable))
    failed = over + unusable
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
