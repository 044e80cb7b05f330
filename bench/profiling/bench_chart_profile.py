#!/usr/bin/env python3
"""From patch set to checked profile, end to end, for 210 and 1,000 patches.

For each size: targen makes a CMYK patch set, `vireo2 chart layout` lays it
out (8 mm patches, A3), the simulator prints it (offset printer) and lays its
strips on its track (the full 1,060 mm track unless --track-length), `vireo2
chart read` reads every strip, colprof -qm builds the profile and profcheck
reports its fit. Then 500 device values the profile never saw are printed by
the same simulated printer (`vireo2-sim --printer-truth`, noise-free, M1) and
the profile's prediction for each (xicclu, absolute colorimetric) is held
against it: median and 95th percentile CIEDE2000.

Prints per size: strips (the track reads one per traverse), sheets, read
time per strip (median and spread over the strips), profcheck average and
maximum (dE*ab), and the error against the truth.

Usage: bench_chart_profile.py [--build DIR] [--sizes 210,1000] [--track-length MM]
Needs ArgyllCMS (targen, colprof, profcheck, xicclu). Run it alone: it takes
about 10 minutes with both sizes on the full track.
"""
import argparse
import os
import random
import re
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "python"))
sys.path.insert(0, os.path.join(HERE, "..", "..", "tests", "tools"))
from chart_pipeline import Simulator, read_cgats  # noqa: E402  (the pipeline test's helpers)

UNSEEN = 500


def run(args, cwd, **kwargs):
    result = subprocess.run(args, cwd=cwd, capture_output=True, text=True, **kwargs)
    if result.returncode != 0:
        sys.exit("%s failed (%d):\n%s%s" % (" ".join(args), result.returncode, result.stdout, result.stderr))
    return result


def unseen_values(seed):
    """Device values spread over the whole CMYK cube, none from the chart."""
    rng = random.Random(seed)
    return [[round(rng.uniform(0, 100), 3) for _ in range(4)] for _ in range(UNSEEN)]


def write_device_set(path, values):
    with open(path, "w") as f:
        f.write('CTI1\n\nCOLOR_REP "CMYK"\nNUMBER_OF_FIELDS 5\nBEGIN_DATA_FORMAT\n'
                "SAMPLE_ID CMYK_C CMYK_M CMYK_Y CMYK_K\nEND_DATA_FORMAT\nNUMBER_OF_SETS %d\nBEGIN_DATA\n" % len(values))
        for i, v in enumerate(values):
            f.write("%d %s\n" % (i + 1, " ".join("%.3f" % x for x in v)))
        f.write("END_DATA\n")


def truth_error(build, work, colour):
    values = unseen_values(2026)
    write_device_set(os.path.join(work, "unseen.ti1"), values)
    _, truth = read_cgats(text=run([os.path.join(build, "bin", "vireo2-sim"), "--printer-truth", "unseen.ti1"],
                                   work).stdout)
    lines = "".join("%s\n" % " ".join("%.6f" % (x / 100.0) for x in v) for v in values)
    predicted = []
    for line in run(["xicclu", "-ff", "-ia", "-pl", "t.icc"], work, input=lines).stdout.splitlines():
        match = re.search(r"->\s*([-0-9.]+)\s+([-0-9.]+)\s+([-0-9.]+)\s*\[Lab\]", line)
        if match:
            predicted.append([float(x) for x in match.groups()])
    if len(predicted) != UNSEEN or len(truth) != UNSEEN:
        sys.exit("xicclu gave %d predictions and the printer %d truths for %d values" % (len(predicted), len(truth), UNSEEN))
    errors = []
    for row, lab in zip(truth, predicted):
        spectrum = [float(row["SPEC_%d" % nm]) for nm in range(400, 701, 10)]
        errors.append(colour.delta_e(colour.spectrum_to_lab(spectrum, scale="percent"), lab, "2000"))
    errors.sort()
    return statistics.median(errors), errors[int(0.95 * len(errors)) - 1], errors[-1]


def one_size(build, size, track_length, colour):
    vireo2 = os.path.join(build, "bin", "vireo2")
    with tempfile.TemporaryDirectory() as work:
        env = dict(os.environ, XDG_DATA_HOME=os.path.join(work, "data"))
        run(["targen", "-v0", "-d4", "-f", str(size), "t"], work)
        layout = run([vireo2, "chart", "layout", "t.ti1", "--width", "8", "-o", "chart"], work).stderr
        sheets = int(re.search(r"(\d+) sheets?", layout).group(1))
        sim = Simulator(os.path.join(build, "bin", "vireo2-sim"), work, "chart.ti2", track_length=track_length)
        try:
            started = time.monotonic()
            said = run([vireo2, "--tcp", "127.0.0.1:%d" % sim.port, "chart", "read", "chart.ti2", "--track",
                        "127.0.0.1:%d" % sim.track, "--yes", "-o", "t.ti3"], work, env=env, timeout=3600).stderr
            total = time.monotonic() - started
        finally:
            sim.stop()
        per_strip = [float(t) for t in re.findall(r"read: \d+ patches in ([0-9.]+) s", said)]
        started = time.monotonic()
        run(["colprof", "-v0", "-qm", "t"], work)
        profiling = time.monotonic() - started
        check = run(["profcheck", "t.ti3", "t.icc"], work).stdout
        peak, average = (float(x) for x in re.search(r"max\. = ([0-9.]+), avg\. = ([0-9.]+)", check).groups())
        median, p95, worst = truth_error(build, work, colour)
    return {"size": size, "strips": len(per_strip), "sheets": sheets, "strip_s": statistics.median(per_strip),
            "strip_spread": (min(per_strip), max(per_strip)), "read_s": total, "colprof_s": profiling,
            "avg": average, "max": peak, "median": median, "p95": p95, "worst": worst}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", default=os.path.join(HERE, "..", "..", "build"))
    parser.add_argument("--sizes", default="210,1000")
    parser.add_argument("--track-length", type=float, default=1060.0)
    options = parser.parse_args()
    build = os.path.abspath(options.build)
    os.environ.setdefault("VIREO2_LIBRARY", os.path.join(build, "lib", "libVireo2.so"))
    from vireo2 import colour

    print("Chart read and profiled end to end: 8 mm patches on A3 sheets, simulated offset printer, "
          "%.0f mm track, condition M1, D50/2" % options.track_length)
    print("%7s %7s %7s %17s %9s %9s %12s %12s %14s %14s" % (
        "patches", "strips", "sheets", "s/strip (range)", "read s", "colprof s", "profchk avg", "profchk max",
        "truth dE00 med", "truth dE00 p95"))
    for size in (int(s) for s in options.sizes.split(",")):
        r = one_size(build, size, options.track_length, colour)
        print("%7d %7d %7d %6.1f (%4.1f-%4.1f) %9.0f %9.0f %12.3f %12.3f %14.3f %14.3f" % (
            r["size"], r["strips"], r["sheets"], r["strip_s"], r["strip_spread"][0], r["strip_spread"][1], r["read_s"],
            r["colprof_s"], r["avg"], r["max"], r["median"], r["p95"]), flush=True)
    print("profcheck: dE*ab of the profile against its own measurements; truth: CIEDE2000 of the profile's "
          "absolute-colorimetric prediction against %d device values it never saw, printed by the same printer" % UNSEEN)


if __name__ == "__main__":
    main()
