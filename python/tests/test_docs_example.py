"""The example of docs/python.md runs as written against the simulator."""

import os
import re
import subprocess
import sys
import unittest

from tests.support import SOURCE, Simulator


class DocsExampleTest(unittest.TestCase):
    def test_the_page_example_measures(self):
        page = (SOURCE / "docs" / "python.md").read_text()
        blocks = re.findall(r"```python\n(.*?)```", page, re.S)
        self.assertEqual(len(blocks), 1)
        self.assertIn('tcp="127.0.0.1:60001"', blocks[0])
        with Simulator("--calibrated") as sim:
            code = blocks[0].replace("127.0.0.1:60001", sim.address)
            env = dict(os.environ, PYTHONPATH=str(SOURCE / "python"))
            run = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, env=env,
                                 timeout=60)
        self.assertEqual(run.returncode, 0, run.stderr)
        lines = run.stdout.splitlines()
        self.assertEqual(lines[0], "serial 2025VR2041217X")
        self.assertEqual([line.split(":")[0] for line in lines[1:]], ["M0", "M1", "M2", "M3"])
        for line in lines[1:]:
            self.assertRegex(line, r"L\*=\d+\.\d\d a\*=-?\d+\.\d\d b\*=-?\d+\.\d\d  R\(550nm\)=\d+\.\d\d %  dE00=\d+\.\d{3}")


if __name__ == "__main__":
    unittest.main()
