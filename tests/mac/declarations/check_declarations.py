"""Every declaration in place of Apple's SDK, and what executables built with them refer to, is as others published it.

Usage: check_declarations.py --sdk FOLDER --metadata FOLDER --headers FOLDER... --versions FILE --confirmed FILE
         [--programs FOLDER] [EXECUTABLE...]

--metadata is where the packages that metadata/ pins were installed, --headers are the folders of headers that the
toolchain brings, --versions is the table that versions.py describes. Programs of other makers, below --programs, show
in which library a name is and in which macOS it was; without them neither is asked. --confirmed lists what the
metadata does not have, or has otherwise, one fault a line as this program says it, then, after " | ", the page that was
read and confirms the declaration. A line that is about nothing any more is a fault too.
"""
import argparse
import pathlib
import sys

from executables import Examiner, bound_by_others
from judge import Judge
from mach_o import ARCHITECTURES, architectures
from published_metadata import PublishedMetadata
from syntax_tree import parse
from versions import read_versions, version_faults

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import stubs  # noqa: E402


def confirmed(path):
    """Fault: the page that settles it."""
    settled = {}
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        columns = line.split(" | ")
        if len(columns) != 2 or not columns[1].startswith("https://"):
            raise ValueError(f"{path}:{number}: not of the form FAULT | https://...")
        settled[columns[0]] = columns[1]
    return settled


def remaining(faults, settled, name):
    """The faults that no line settles, and the lines that settle none."""
    found = dict.fromkeys(faults)
    yield from (fault for fault in found if fault not in settled)
    yield from (f"{name}: this is no fault (any more): {line}" for line in settled if line not in found)


def main(arguments):
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--sdk", type=pathlib.Path, required=True)
    parser.add_argument("--metadata", type=pathlib.Path, required=True)
    parser.add_argument("--headers", type=pathlib.Path, nargs="+", required=True)
    parser.add_argument("--versions", type=pathlib.Path, required=True)
    parser.add_argument("--confirmed", type=pathlib.Path, required=True)
    parser.add_argument("--programs", type=pathlib.Path)
    parser.add_argument("executables", type=pathlib.Path, nargs="*")
    options = parser.parse_args(arguments)

    published = PublishedMetadata(options.metadata)
    declared = parse(options.sdk, options.headers)
    faults = list(Judge(published).faults(declared))
    # What is published was read on Apple silicon. What is otherwise on Intel has to be so on purpose.
    on_intel = Judge(published).faults(parse(options.sdk, options.headers, "x86_64"))
    faults += [f"Intel: {fault}" for fault in on_intel if fault not in faults]
    versions, needed = read_versions(options.versions)
    faults += version_faults(declared.versions, versions, options.versions.name)
    examiner = Examiner(declared, published, bound_by_others(options.programs) if options.programs else None)
    faults += examiner.system_faults(needed)
    for architecture in ARCHITECTURES.values():
        faults += examiner.stub_faults(stubs.by_library(sorted(options.sdk.rglob("*.tbd")), architecture), architecture)
    for path in options.executables:
        for executable in architectures(path):
            faults += examiner.faults(executable)
    left = list(remaining(faults, confirmed(options.confirmed), options.confirmed.name))
    for fault in left:
        print(fault)
    return 1 if left else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
