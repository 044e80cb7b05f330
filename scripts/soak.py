#!/usr/bin/env python3
"""Soak test: 8 host threads mix every family of libVireo2's exports against
vireo2-sim with random faults, for a given time.

Reports calls, errors by code, the longest call and the RSS over time, and
fails (exit 1) on a crash, a sanitizer report, a call that took longer than
its bound, a reply that answers another command than the one sent (late
replies are among the faults), or a library that cannot connect and measure
again once the faults stop (the lock-holding sequence is among them). The
workload runs in a child process so that a crash is seen and reported, not
suffered.

    python3 scripts/soak.py --minutes 10 [--build build-sanitize]
"""

import argparse
import collections
import ctypes
import os
import random
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
# Longest a single call may take: the operation lock (10 s) and the
# disconnect of a failed wait (5 s stop of the status thread), a command's
# timeout with its readiness waits (14 s), polls of an operation in progress
# (the announced time plus 5 s, here at most 25 s) and the measurement
# pacing (1 s), with a margin.
CALL_BOUND_S = 75.0
FAULTS = [
    "* drop",
    "* delay=400",
    "version after=6a756e6b",
    '"meas run" progress=100,1000,3 final="MEAS 0x00"',
    '"meas get refls" reply="MEAS 0x00 1 2 3"',
    '"cal query status" reply="CAL 0x10"',
    "* split=1,3,7 pause=5",
    "* silent",
    "* length=0xFFFFFFFF",
    # Late replies: each read gives up after 3 s (and the link's readiness
    # rounds), the reply comes later; the polled commands keep the link.
    '"spectro system state" delay=4500',
    '"spectro system state" delay=5000 times=3',
    '"button triggered?" delay=5500',
    '"meas done?" delay=4200',
    # The status check held up by an operation in progress while a host call
    # waits out the 10 s lock: the failed wait disconnects, and the check may
    # end with the lock held until the next Disconnect.
    '"button triggered?" progress=100,20000,1000',
]
# Commands whose replies are checked: each must name its own command.
CHECKED = [b"version", b"SerialNum Get Inst", b"spectro system state", b"MeasConfig Get APERTURE"]


def bcp(payload):
    return b"\x7e" + struct.pack(">I", len(payload)) + payload + b"\x7f"


def control(port, line):
    try:
        with socket.create_connection(("127.0.0.1", port), timeout=2) as s:
            s.sendall(bcp(b"SIM " + line.encode()))
            s.recv(4096)
    except OSError:
        pass


def workload(args):
    """Runs in the child: the threads, the faults and the report."""
    sys.path.insert(0, str(ROOT / "python"))
    os.environ["XDG_DATA_HOME"] = tempfile.mkdtemp(prefix="vireo2-soak-")
    import vireo2

    lib = vireo2.library()
    port = args.port
    lib.SetOption(b"connection_method", b"TCP")
    lib.SetOption(b"device_ip_address", f"127.0.0.1:{port}".encode())
    lib.SetOption(b"connection_attempts", b"1")
    deadline = time.monotonic() + args.minutes * 60
    calls = collections.Counter()
    errors = collections.Counter()
    longest = [0.0, ""]
    lock = threading.Lock()
    grey = (ctypes.c_double * 31)(*([50.0] * 31))
    out = (ctypes.c_double * 5)()
    values = (ctypes.c_float * 31)()
    wrong = []

    def checked(command):
        reply = lib.SendCommand(command, 3000) or b""
        if reply and reply.split(b" ")[0] != command.split(b" ")[0].upper():
            with lock:
                wrong.append((command, reply[:60]))

    operations = {
        "Connect": lambda: lib.Connect(),
        "Disconnect": lambda: lib.Disconnect(),
        "Measure": lambda: lib.Measure(),
        "GetCalStatus": lambda: lib.GetCalStatus(),
        "BlackCal": lambda: lib.BlackCal(),
        "GetMeasAttributes": lambda: lib.GetMeasAttributes(),
        "GetSpectralData": lambda: lib.GetSpectralData(random.randint(-1, 4), random.randint(-1, 31)),
        "GetSpectralSetData": lambda: lib.GetSpectralSetData(random.randint(0, 3), values, 31),
        "SetOption": lambda: lib.SetOption(b"connection_attempts", b"1"),
        "GetOption": lambda: lib.GetOption(b"device_ip_address"),
        "Execute": lambda: lib.Execute(random.choice([b"clock get", b"calstatus get", b"getconfiglist",
                                                      b"serialnum get", b"nosuchword x", b"setmodel"])),
        "SendCommand": lambda: checked(random.choice(CHECKED)),
        "IsConnected": lambda: lib.IsConnected(),
        "ScanGetStatus": lambda: lib.ScanGetStatus(),
        "Colour": lambda: lib.Vireo2_SpectrumToLabCh(grey, random.randint(0, 17), 0, out),
        "Records": lambda: (lib.GetSampleCount(), lib.GetMaxReferences(), lib.GetRefName()),
    }
    weights = {"Connect": 2, "Disconnect": 1, "Measure": 2}

    def host(seed):
        rng = random.Random(seed)
        names = list(operations)
        while time.monotonic() < deadline:
            name = rng.choices(names, weights=[weights.get(n, 5) for n in names], k=1)[0]
            start = time.monotonic()
            operations[name]()
            took = time.monotonic() - start
            code = lib.GetLastErrorCode()
            with lock:
                calls[name] += 1
                if code:
                    errors[code] += 1
                if took > longest[0]:
                    longest[0], longest[1] = took, name

    def faults():
        rng = random.Random(99)
        while time.monotonic() < deadline:
            control(port, "RESET" if rng.random() < 0.4 else "FAULT " + rng.choice(FAULTS))
            time.sleep(rng.uniform(0.2, 2.0))

    lib.Connect()
    threads = [threading.Thread(target=host, args=(i,)) for i in range(8)]
    threads.append(threading.Thread(target=faults))
    for t in threads:
        t.start()
    while any(t.is_alive() for t in threads):
        time.sleep(10)
        rss = int(next(l.split()[1] for l in open("/proc/self/status") if l.startswith("VmRSS")))
        with lock:
            print(f"t={time.monotonic() - deadline + args.minutes * 60:6.0f}s calls={sum(calls.values())} "
                  f"rss={rss / 1024:.1f} MB longest={longest[0]:.2f}s ({longest[1]})", flush=True)
    for t in threads:
        t.join()
    # Without faults the library must come back: Disconnect (which frees a
    # lock left by an ended status thread), Connect, Measure.
    control(port, "RESET")
    lib.Disconnect()
    recovered = lib.Disconnect() and lib.Connect() and lib.Measure()
    lib.Disconnect()
    print("calls by export:", dict(sorted(calls.items())))
    print("errors by code:", {f"{c} (0x{c & 0xffffffff:X})": n for c, n in sorted(errors.items())})
    print(f"longest call: {longest[0]:.2f} s ({longest[1]})")
    print(f"replies answering another command: {len(wrong)} {wrong[:5]}")
    print(f"connect and measure after the faults: {'yes' if recovered else 'NO'}")
    if wrong or not recovered:
        return 4
    return 0 if longest[0] <= CALL_BOUND_S else 3


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--minutes", type=float, default=1.0)
    parser.add_argument("--build", default="build", help="build folder (build-sanitize for ASan/UBSan)")
    parser.add_argument("--child", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--port", type=int, default=0, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        return workload(args)

    build = ROOT / args.build
    sim = subprocess.Popen([str(build / "bin" / "vireo2-sim"), "--port", "0", "--calibrated"],
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    port = int(sim.stdout.readline().strip().rsplit(":", 1)[1])
    env = dict(os.environ, VIREO2_LIBRARY=str(build / "lib" / "libVireo2.so"))
    if "sanitize" in args.build:
        def runtime(name):
            return subprocess.run(["g++", f"-print-file-name={name}"], capture_output=True, text=True).stdout.strip()
        env["LD_PRELOAD"] = runtime("libasan.so") + ":" + runtime("libstdc++.so")
        env["ASAN_OPTIONS"] = "detect_leaks=0:abort_on_error=1"
        env["UBSAN_OPTIONS"] = "print_stacktrace=1:halt_on_error=1"
    child = subprocess.run([sys.executable, __file__, "--child", "--minutes", str(args.minutes),
                            "--port", str(port)], env=env, capture_output=True, text=True)
    sim.terminate()
    sim.wait()
    sys.stdout.write(child.stdout)
    report = [l for l in child.stderr.splitlines()
              if "Sanitizer" in l or "runtime error" in l or "Traceback" in l or "Error" in l]
    if child.returncode != 0 or report:
        print(f"SOAK FAILED: exit {child.returncode}", file=sys.stderr)
        sys.stderr.write(child.stderr[-6000:])
        return 1
    print("soak passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
