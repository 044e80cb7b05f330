#!/usr/bin/env python3
"""The profiling pipeline a print shop runs, with ArgyllCMS's own tools.

targen makes a 210-patch CMYK set, `vireo2 chart layout` lays it out for the
TR3, the simulator prints it (Yule-Nielsen Neugebauer offset printer) and
puts the strips on its track one after the other, `vireo2 chart read` reads
them into a .ti3, colprof builds a profile from it and profcheck must find an
average error of at most 1.0 dE. A second read meets a reversed strip, a
wrong strip and a smudged patch: the reversed one is taken the right way
round, the other two stop the read without a .ti3 until they are put right,
and --resume then finishes a file that matches the first.

Usage: chart_pipeline.py VIREO2 VIREO2_SIM. Exits 77 (skipped) when
ArgyllCMS is not installed.
"""
import math
import os
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile

SKIPPED = 77
# The simulated track is made just long enough for a 420 mm sheet, so each
# traverse and return takes about 7 s instead of 14 s.
TRACK_LENGTH = "500"


def fail(message):
    print("FAILED: " + message)
    sys.exit(1)


def read_cgats(path=None, text=None):
    """Fields and rows (dicts by field name) of a CGATS file's first table."""
    if text is None:
        with open(path, encoding="latin-1") as f:
            text = f.read()
    fields, rows, state = [], [], None
    for line in text.splitlines():
        words = line.split()
        if not words:
            continue
        if words[0] == "BEGIN_DATA_FORMAT":
            state = "format"
        elif words[0] == "END_DATA_FORMAT":
            state = None
        elif words[0] == "BEGIN_DATA":
            state = "data"
        elif words[0] == "END_DATA":
            break
        elif state == "format":
            fields += words
        elif state == "data":
            rows.append(dict(zip(fields, [w.strip('"') for w in words])))
    return fields, rows


class Simulator:
    """vireo2-sim with a track and a printed chart, in its own process."""

    def __init__(self, program, work, chart, faults=(), track_length=TRACK_LENGTH):
        args = [program, "--port", "0", "--track", "0", "--calibrated", "--chart", chart, "--auto-next",
                "--track-length", str(track_length)]
        for fault in faults:
            args += ["--chart-fault", fault]
        self.process = subprocess.Popen(args, cwd=work, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        ports = []
        while len(ports) < 2:
            line = self.process.stdout.readline()
            if not line:
                fail("the simulator did not start: " + self.process.stderr.read())
            ports += re.findall(r"listening on 127\.0\.0\.1:(\d+)", line)
        self.port, self.track = int(ports[0]), int(ports[1])

    def control(self, line):
        """A control line to the track's port, as one BCP packet."""
        with socket.create_connection(("127.0.0.1", self.track), timeout=5) as s:
            payload = line.encode()
            s.sendall(b"\x7e" + struct.pack(">I", len(payload)) + payload + b"\x7f")
            data = b""
            while len(data) < 5 or len(data) < 6 + struct.unpack(">I", data[1:5])[0]:
                chunk = s.recv(4096)
                if not chunk:
                    break
                data += chunk
        answer = data[5:-1].decode()
        if not answer.startswith("SIM 0x00"):
            fail("control %r answered %r" % (line, answer))
        return answer

    def stop(self):
        self.process.terminate()
        self.process.wait(10)


class Pipeline:
    def __init__(self, vireo2, sim, work):
        self.vireo2, self.sim, self.work = vireo2, sim, work
        self.env = dict(os.environ, XDG_DATA_HOME=os.path.join(work, "data"))

    def run(self, args, expect=0):
        result = subprocess.run(args, cwd=self.work, env=self.env, capture_output=True, text=True, timeout=600)
        if expect is not None and result.returncode != expect:
            fail("%s exited %d, not %d\n%s%s" % (" ".join(args), result.returncode, expect, result.stdout,
                                                  result.stderr))
        return result

    def read_chart(self, sim, output, expect, resume=False):
        args = [self.vireo2, "--tcp", "127.0.0.1:%d" % sim.port, "chart", "read", "chart.ti2", "--track",
                "127.0.0.1:%d" % sim.track, "--yes", "-o", output]
        return self.run(args + (["--resume"] if resume else []), expect).stderr


def lab_difference(a, b):
    return math.sqrt(sum((float(a[k]) - float(b[k])) ** 2 for k in ("LAB_L", "LAB_A", "LAB_B")))


def check_every_patch_back(ti1, ti3):
    _, wanted = read_cgats(ti1)
    fields, got = read_cgats(ti3)
    for field in ("SAMPLE_ID", "CMYK_C", "CMYK_K", "XYZ_Y", "LAB_L", "SPEC_400", "SPEC_700"):
        if field not in fields:
            fail("%s has no %s field" % (ti3, field))
    if [r["SAMPLE_ID"] for r in got] != [r["SAMPLE_ID"] for r in wanted]:
        fail("%s does not hold the patch set's samples in order" % ti3)
    for w, g in zip(wanted, got):
        for ink in ("CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K"):
            if abs(float(w[ink]) - float(g[ink])) > 1e-3:
                fail("sample %s: %s is %s, the patch set says %s" % (w["SAMPLE_ID"], ink, g[ink], w[ink]))
    return got


def profile_and_check(p):
    p.run(["colprof", "-v0", "-qm", "t"])
    report = p.run(["profcheck", "t.ti3", "t.icc"]).stdout
    match = re.search(r"avg(?:\.| err) = ([0-9.]+)", report)
    if not match:
        fail("profcheck said: " + report)
    average = float(match.group(1))
    print("profcheck: " + report.strip().splitlines()[-1])
    if average > 1.0:
        fail("profcheck's average error %.3f is above 1.0" % average)


def expect_in(text, pieces, what):
    for piece in pieces:
        if piece not in text:
            fail("%s does not say %r:\n%s" % (what, piece, text))


def main():
    if len(sys.argv) != 3:
        fail("usage: chart_pipeline.py VIREO2 VIREO2_SIM")
    missing = [t for t in ("targen", "colprof", "profcheck") if shutil.which(t) is None]
    if missing:
        print("SKIPPED: ArgyllCMS is not installed (%s missing); scripts/install-packages.sh installs the "
              "Debian package 'argyll'" % ", ".join(missing))
        return SKIPPED
    with tempfile.TemporaryDirectory() as work:
        p = Pipeline(sys.argv[1], sys.argv[2], work)
        p.run(["targen", "-v0", "-d4", "-f", "210", "t"])
        p.run([p.vireo2, "chart", "layout", "t.ti1", "--width", "8", "-o", "chart"])
        if not os.path.exists(os.path.join(work, "chart.pdf")):
            fail("chart layout wrote no chart.pdf")

        sim = Simulator(p.sim, work, "chart.ti2")
        try:
            p.read_chart(sim, "t.ti3", 0)
        finally:
            sim.stop()
        first = check_every_patch_back(os.path.join(work, "t.ti1"), os.path.join(work, "t.ti3"))
        profile_and_check(p)

        # A smear shows best on a light patch: the lightest of strip 6.
        _, layout = read_cgats(os.path.join(work, "chart.ti2"))
        light = max((r for r in layout if r["STRIP"] == "6" and r["PATCH_ROLE"] == "data"),
                    key=lambda r: float(r["XYZ_Y"]))["STRIP_PATCH"]
        sim = Simulator(p.sim, work, "chart.ti2", ["reversed 2", "wrong 4 5", "smudge 6 " + light])
        try:
            said = p.read_chart(sim, "again.ti3", 1)
            expect_in(said, ["strip 2 lies reversed", "strip 5 lies on the track where sheet 1, strip 4 should be",
                             "3 of 6 strips are kept"], "the read with a wrong strip")
            if os.path.exists(os.path.join(work, "again.ti3")):
                fail("a read stopped by a wrong strip wrote its .ti3")
            sim.control("SIM sheet 4")
            said = p.read_chart(sim, "again.ti3", 1, resume=True)
            expect_in(said, ["strip 6: unsteady readings", "patch " + light, "5 of 6 strips are kept"],
                      "the read with a smudged patch")
            if os.path.exists(os.path.join(work, "again.ti3")):
                fail("a read stopped by a smudged patch wrote its .ti3")
            sim.control("SIM sheet fault clear")
            sim.control("SIM sheet 6")
            p.read_chart(sim, "again.ti3", 0, resume=True)
        finally:
            sim.stop()
        again = check_every_patch_back(os.path.join(work, "t.ti1"), os.path.join(work, "again.ti3"))
        worst = max(lab_difference(a, b) for a, b in zip(first, again))
        print("largest difference between the two reads: %.3f dE*ab" % worst)
        if worst > 1.0:
            fail("the second read differs from the first by %.2f dE*ab" % worst)
    print("OK")
    return 0


if __name__ == "__main__":
    sys.exit(main())
