"""What executables refer to, judged by the declarations, the published metadata and programs of other makers."""
import pathlib
import re
from dataclasses import dataclass, field

from mach_o import MAGIC, UNIVERSAL, architectures
from versions import number

CLASS = re.compile(r"_OBJC_(?:META)?CLASS_\$_(\w+)")
OURS = 12, 0  # the macOS that the application is for
# What the C library's stub of the toolchain has was taken from Apple's own, so linking has proven it.
PROVEN_BY_LINKING = "/usr/lib/libSystem.B.dylib"


def framework_of(library):
    """The name of the framework, or of a library outside frameworks."""
    return pathlib.PurePosixPath(library).name.removesuffix(".dylib")


def is_executable(path):
    with path.open("rb") as file:
        return file.read(4) in (MAGIC, UNIVERSAL)


@dataclass
class Bound:
    """What the programs of other makers, built with Apple's SDK, look for."""

    libraries: dict = field(default_factory=dict)  # {(architecture, symbol): the libraries that they find it in}
    systems: dict = field(default_factory=dict)  # {symbol: the oldest macOS of those that do not start without it}

    def add(self, program):
        for symbol, library in program.undefined.items():
            self.libraries.setdefault((program.architecture, symbol), set()).add(library)
            if program.minimum_system and symbol not in program.weak:
                oldest = self.systems.get(symbol, program.minimum_system)
                self.systems[symbol] = min(oldest, program.minimum_system)


def bound_by_others(folder):
    """Of the programs below this folder."""
    bound = Bound()
    for path in sorted(folder.rglob("*")):
        if path.is_file() and not path.is_symlink() and is_executable(path):
            for program in architectures(path):
                bound.add(program)
    return bound


class Examiner:
    """BOUND is None where no program of another maker is at hand: then nothing is said of symbols."""

    def __init__(self, declared, published, bound):
        self._declared = declared
        self._bound = bound
        self._selectors = published_selectors(published)

    def stub_faults(self, exported, architecture):
        """EXPORTED: the names that our stubs say each library has."""
        for library, symbols in exported.items():
            for symbol in sorted(symbols):
                yield from self._symbol(symbol, library, architecture)

    def system_faults(self, needed=()):
        """What programs for an older macOS than is declared do not start without, and which of NEEDED none needs."""
        if self._bound is None:
            return
        for declaration, version in self._declared.versions.items():
            oldest = self._oldest_system(declaration)
            if oldest and version and oldest < number(version):
                older = ".".join(map(str, oldest))
                yield f"{declaration}: is not there first since macOS {version}: a program for {older} needs it"
        for declaration in needed:
            oldest = self._oldest_system(declaration)
            if oldest is None or oldest > OURS:
                yield f"{declaration}: no program for macOS 12.0 or an older one needs it"

    def _oldest_system(self, declaration):
        kind, _, name = declaration.partition(" ")
        return self._bound.systems.get(f"_OBJC_CLASS_$_{name}" if kind == "class" else f"_{name}")

    def faults(self, executable):
        """Of one architecture."""
        for symbol, library in executable.undefined.items():
            if library != PROVEN_BY_LINKING and not library.startswith("@"):  # of the application itself
                yield from self._symbol(symbol, library, executable.architecture)
        own = {selector for _, methods in executable.own_classes() for selector in methods}
        sent = executable.sent_selectors()
        for selector in sorted(sent - own - self._selectors):
            yield f"selector {selector}: sent, but not published"
        for selector in sorted(own - sent - self._selectors):
            if not selector.startswith("."):  # what the compiler adds
                yield f"selector {selector}: implemented, but nobody sends it"

    def _symbol(self, symbol, library, architecture):
        if self._bound is None:
            return
        class_ = CLASS.fullmatch(symbol)
        name = class_[1] if class_ else symbol.removeprefix("_")
        names = symbol, symbol.replace("_OBJC_METACLASS_", "_OBJC_CLASS_")
        others = next(filter(None, (self._bound.libraries.get((architecture, of)) for of in names)), None)
        if others:
            if library not in others:
                yield f"symbol {symbol}: other programs find it in {' and '.join(sorted(others))}, not in {library}"
            return
        declared = self._declared
        if name not in declared.classes.keys() | declared.functions.keys() | declared.constants.keys():
            yield f"symbol {symbol} of {library}: not declared"
        elif framework_of(library) != declared.frameworks[name]:
            yield f"symbol {symbol}: is of {declared.frameworks[name]}, but linked to {library}"


def published_selectors(published):
    found = set()
    for interface in [*published.classes.values(), *published.protocols.values()]:
        found.update(selector for selector, _ in interface.methods)
        for property_ in interface.properties.values():
            found.update((property_.getter, property_.setter))
    return found
