"""Every source is in a target, and every test in one that CTest runs.

Usage: compiled_sources.py ROOT BUILD FOLDER... (the folders, relative to ROOT, that this build covers)
"""
import json
import pathlib
import re
import sys

import cpp_source

TARGET = re.compile(r"\bCMakeFiles/([^/]+)\.dir/")


def targets_by_file(build):
    """The targets that compile each file."""
    targets = {}
    for entry in json.loads((build / "compile_commands.json").read_text(encoding="utf-8")):
        file = (pathlib.Path(entry["directory"]) / entry["file"]).resolve()
        targets.setdefault(file, set()).update(TARGET.findall(entry.get("output") or entry["command"]))
    return targets


def faults(root, build, folders):
    targets = targets_by_file(build)
    tests = "\n".join(path.read_text(encoding="utf-8") for path in sorted(build.rglob("CTestTestfile.cmake")))
    for path in cpp_source.files(root, folders):
        if path.suffix != cpp_source.SOURCE:
            continue
        compiled_by = targets.get((root / path).resolve())
        if compiled_by is None:
            yield f"{path}: in no target"
        elif path.stem.endswith("Test") and not any(
            re.search(rf"(?<![\w-]){re.escape(target)}(?![\w-])", tests) for target in compiled_by
        ):
            yield f"{path}: in no target that CTest runs"


if __name__ == "__main__":
    sys.exit(
        cpp_source.report(list(faults(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3:])))
    )
