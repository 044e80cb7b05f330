"""Shared by the package's tests: a private data folder and a simulator."""

import os
import subprocess
import tempfile
from pathlib import Path

# The library keeps its settings and log below XDG_DATA_HOME; each test
# process gets its own, before the library is first used.
os.environ["XDG_DATA_HOME"] = tempfile.mkdtemp(prefix="vireo2-py-")

SOURCE = Path(__file__).resolve().parents[2]


def simulator_program():
    explicit = os.environ.get("VIREO2_SIM")
    return explicit if explicit else str(SOURCE / "build" / "bin" / "vireo2-sim")


class Simulator:
    """vireo2-sim on a free port of 127.0.0.1, for the life of a `with`."""

    def __init__(self, *options):
        self.options = list(options)

    def __enter__(self):
        self.process = subprocess.Popen([simulator_program(), "--port", "0", *self.options],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.process.stdout.readline()
        if "listening on" not in line:
            self.process.kill()
            raise RuntimeError(f"the simulator did not start: {line!r}")
        self.address = line.split()[-1]
        return self

    def __exit__(self, *exc):
        self.process.stdout.close()
        self.process.terminate()
        self.process.wait(timeout=10)
        return False
