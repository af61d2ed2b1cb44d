"""The product holds nothing of the rehearsal, and reads no environment variable but those that say what its user reads.

Usage: product_content.py ROOT EXECUTABLE --own FILE... --foreign FILE...

FILEs are objects and archives. What only the foreign ones define, or have among their texts, must not be in the
executable; so the list of what to look for makes itself. Needs nm and strings, and an executable with its symbols.
"""
import pathlib
import re
import subprocess
import sys

import cpp_source

SHORTEST_TEXT = 8  # characters; shorter ones are found in any code by chance
# What reads the environment, and the only objects that may: one reads the variables of languages, the other hands the
# environment on to the tools.
ENVIRONMENT = {"getenv", "secure_getenv", "__secure_getenv", "environ", "__environ"}
ENVIRONMENT_OF_QT = re.compile(r"qgetenv|qEnvironmentVariable|QProcessEnvironment")
MAY_READ = {"LanguagesLinux.cpp.o": {"getenv"}, "ProcessesPosix.cpp.o": {"environ"}}
READER = "hosts/linux/LanguagesLinux.cpp"
VARIABLES = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}


def lines(*command):
    # An archive may have members without symbols, which nm mentions.
    return subprocess.run(command, capture_output=True, check=True, text=True).stdout.splitlines()


def symbols(files):
    """What the files define, as the linker knows it."""
    return {line.split()[0] for line in lines("nm", "--defined-only", "-P", *files) if " " in line}


def texts(files):
    found = {line for file in files for line in lines("strings", "--data", f"--bytes={SHORTEST_TEXT}", file)}
    return {text for text in found if not text.startswith("_Z")}  # a symbol's name is no text


def strangers(kind, look, executable, own, foreign):
    there, known, unwanted = look([executable]), look(own), look(foreign) - look(own)
    if not there & known:
        yield f"{executable}: none of its own {kind}s is in it"
    if not unwanted:
        yield f"nothing but the product's own {kind}s is in {', '.join(map(str, foreign))}"
    for name in sorted(there & unwanted):
        yield f"{executable}: the {kind} {name}"


def environment_faults(own):
    for line in lines("nm", "-A", "--undefined-only", "-P", *own):
        place, name = line.split()[:2]
        member = re.split(r"[:/\[\]]", place.rstrip(":]"))[-1]
        name = name.partition("@")[0]
        reads = name in ENVIRONMENT or ENVIRONMENT_OF_QT.search(name)
        if reads and name not in MAY_READ.get(member, ()):
            yield f"{member}: reads the environment by {name}"


def variable_faults(root):
    code = (root / READER).read_text(encoding="utf-8")
    read = set(re.findall(r'\b(?:variable|getenv)\s*\(\s*"([^"]*)"', code))
    if read != VARIABLES:
        yield f"{READER}: reads {', '.join(sorted(read))}; of the environment is meant {', '.join(sorted(VARIABLES))}"


def faults(root, executable, own, foreign):
    yield from strangers("symbol", symbols, executable, own, foreign)
    yield from strangers("text", texts, executable, own, foreign)
    yield from environment_faults(own)
    yield from variable_faults(root)


def main(arguments):
    root, executable, marker, *files = arguments
    if marker != "--own" or "--foreign" not in files:
        sys.exit(__doc__)
    middle = files.index("--foreign")
    return cpp_source.report(list(faults(pathlib.Path(root), executable, files[:middle], files[middle + 1:])))


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
