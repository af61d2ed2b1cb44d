"""No file has grown beyond what one reason to change needs. Usage: file_lengths.py ROOT"""
import pathlib
import sys

import cpp_source

FOLDERS = ("InstallerCore", "KavioInstaller", "hosts", "rehearsal", "artwork", "tests", "bench", "fuzz")
# What is written for a Mac alone cannot be run here, and so has no logic to be long for.
LIMITS = {cpp_source.HEADER: 200, cpp_source.SOURCE: 500, cpp_source.OBJECTIVE_SOURCE: 250}


def faults(root):
    for path in cpp_source.files(root, FOLDERS):
        count = len((root / path).read_text(encoding="utf-8").splitlines())
        limit = LIMITS[path.suffix]
        if count >= limit:
            yield f"{path}: {count} lines, not under {limit}"


if __name__ == "__main__":
    sys.exit(cpp_source.report(list(faults(pathlib.Path(sys.argv[1])))))
