#!/usr/bin/env python3
"""Installs the vireo2 package into the Python that runs this script, with
nothing but the standard library: no network, no setuptools, no wheel, and
nothing written into the source tree.

    python3 python/install.py                 # into the running Python (a venv, or --user when not writable)
    python3 python/install.py --target DIR    # into DIR (add DIR to PYTHONPATH)

It copies python/vireo2/*.py and writes a vireo2-<version>.dist-info beside
them, so `pip uninstall vireo2` removes it again.
"""

import argparse
import base64
import hashlib
import os
import re
import shutil
import site
import sys
import sysconfig
from pathlib import Path

SOURCE = Path(__file__).resolve().parent / "vireo2"


def version():
    match = re.search(r'^__version__ = "([^"]+)"', (SOURCE / "__init__.py").read_text(), re.M)
    if not match:
        sys.exit("install.py: no __version__ in vireo2/__init__.py")
    return match.group(1)


def destination(arguments):
    if arguments.target:
        return Path(arguments.target)
    if arguments.user:
        return Path(site.getusersitepackages())
    return Path(sysconfig.get_paths()["purelib"])


def record_line(path, root):
    data = path.read_bytes()
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{path.relative_to(root).as_posix()},sha256={digest},{len(data)}"


def install(root):
    package = root / "vireo2"
    info = root / f"vireo2-{version()}.dist-info"
    for old in list(root.glob("vireo2-*.dist-info")) + [package]:
        if old.exists():
            shutil.rmtree(old)
    package.mkdir(parents=True)
    for source in sorted(SOURCE.glob("*.py")):
        shutil.copyfile(source, package / source.name)
    info.mkdir()
    (info / "METADATA").write_text(
        f"Metadata-Version: 2.1\nName: vireo2\nVersion: {version()}\n"
        "Summary: Python host for libVireo2, the Vireo2 spectrophotometer driver library\n"
        "Requires-Python: >=3.8\n")
    (info / "INSTALLER").write_text("vireo2-install.py\n")
    files = sorted(package.glob("*.py")) + [info / "METADATA", info / "INSTALLER"]
    lines = [record_line(path, root) for path in files] + [f"{info.name}/RECORD,,"]
    (info / "RECORD").write_text("\n".join(lines) + "\n")
    return package


def main():
    if sys.version_info < (3, 8):
        sys.exit("install.py: vireo2 needs Python 3.8 or newer")
    parser = argparse.ArgumentParser(description="Install the vireo2 package without network or build tools.")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--target", metavar="DIR", help="install into DIR instead of the running Python")
    where.add_argument("--user", action="store_true", help="install into the user's site-packages")
    arguments = parser.parse_args()
    root = destination(arguments)
    root.mkdir(parents=True, exist_ok=True)
    if not os.access(root, os.W_OK):
        sys.exit(f"install.py: cannot write {root}; use a virtual environment, --user or --target DIR")
    print(f"vireo2 {version()} installed in {install(root)}")


if __name__ == "__main__":
    main()
