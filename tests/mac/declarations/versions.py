"""In which version of macOS each declaration came first, from versions.txt, and whether API_AVAILABLE says the same.

A row of the table is DECLARATION | VERSION | PAGE, with a declaration named as faults name it, and perhaps
| MEMBER, MEMBER...: what came with the declaration, as faults name it but for the owner's name (".title", "-close",
"+new", an enumerator's whole name). In place of the page "programs" may stand: a program of another maker for
macOS 12.0 or an older one does not start without it.
"""
import re

PROGRAMS = "programs"
ROW = re.compile(rf"([^|]+) \| (\d+\.\d+) \| (https://[^ |]+|{PROGRAMS})(?: \| ([^|]+))?")
OWNER = re.compile(r"(?:class|protocol) (\w+)")


def number(version):
    return tuple(int(part) for part in version.split("."))


def member(owner, name):
    of_interface = OWNER.fullmatch(owner)
    if of_interface and name[0] == ".":
        return of_interface[1] + name
    return f"{name[0]}[{of_interface[1]} {name[1:]}]" if of_interface else f"enumerator {name}"


def read_versions(path):
    """{declaration: version}, and the declarations of which a program is the proof."""
    versions, needed = {}, []
    for place, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        row = ROW.fullmatch(line)
        if row is None:
            raise ValueError(f"{path}:{place}: not of the form DECLARATION | VERSION | https://... | MEMBER, MEMBER...")
        declaration, version, page, members = row.groups()
        for name in (declaration, *(member(declaration, name) for name in (members or "").split(", ") if name)):
            if name in versions:
                raise ValueError(f"{path}:{place}: a second row for {name}")
            versions[name] = version
        if page == PROGRAMS:
            needed.append(declaration)
    return versions, needed


def version_faults(declared, versions, table):
    """DECLARED: what API_AVAILABLE says of each declaration or its owner. TABLE: the name of the table."""
    for declaration, version in declared.items():
        confirmed = versions.get(declaration)
        if confirmed is None:
            yield f"{declaration}: {table} does not say which version of macOS has it first"
        elif version and confirmed != version:
            yield f"{declaration}: macOS has it since {confirmed}, not since {version}"
    yield from (f"{table}: nothing is declared that is {name}" for name in versions if name not in declared)
