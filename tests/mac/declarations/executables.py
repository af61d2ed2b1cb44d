"""What executables refer to, judged by the declarations, the published metadata and programs of other makers."""
import pathlib
import re

from mach_o import MAGIC, UNIVERSAL, architectures

CLASS = re.compile(r"_OBJC_(?:META)?CLASS_\$_(\w+)")
# What the C library's stub of the toolchain has was taken from Apple's own, so linking has proven it.
PROVEN_BY_LINKING = "/usr/lib/libSystem.B.dylib"


def framework_of(library):
    """The name of the framework, or of a library outside frameworks."""
    return pathlib.PurePosixPath(library).name.removesuffix(".dylib")


def is_executable(path):
    with path.open("rb") as file:
        return file.read(4) in (MAGIC, UNIVERSAL)


def bound_by_others(folder):
    """Symbol: the libraries in which the programs below this folder, built with Apple's SDK, look for it."""
    bound = {}
    for path in sorted(folder.rglob("*")):
        if path.is_file() and not path.is_symlink() and is_executable(path):
            for program in architectures(path):
                for symbol, library in program.undefined.items():
                    bound.setdefault(symbol, set()).add(library)
    return bound


class Examiner:
    def __init__(self, declared, published, bound):
        self._declared = declared
        self._bound = bound
        self._selectors = published_selectors(published)

    def stub_faults(self, exported):
        """EXPORTED: the names that our stubs say each library has."""
        for library, symbols in exported.items():
            for symbol in sorted(symbols):
                yield from self._symbol(symbol, library)

    def faults(self, executable):
        """Of one architecture."""
        for symbol, library in executable.undefined.items():
            if library != PROVEN_BY_LINKING and not library.startswith("@"):  # of the application itself
                yield from self._symbol(symbol, library)
        own = {selector for _, methods in executable.own_classes() for selector in methods}
        sent = executable.sent_selectors()
        for selector in sorted(sent - own - self._selectors):
            yield f"selector {selector}: sent, but not published"
        for selector in sorted(own - sent - self._selectors):
            if not selector.startswith("."):  # what the compiler adds
                yield f"selector {selector}: implemented, but nobody sends it"

    def _symbol(self, symbol, library):
        class_ = CLASS.fullmatch(symbol)
        name = class_[1] if class_ else symbol.removeprefix("_")
        others = self._bound.get(symbol) or self._bound.get(symbol.replace("_OBJC_METACLASS_", "_OBJC_CLASS_"))
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
