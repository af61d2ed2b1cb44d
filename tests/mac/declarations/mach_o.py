"""Reads executables and libraries for macOS (64 bits, little-endian), universal ones architecture by architecture."""
import pathlib
import struct
from dataclasses import dataclass

MAGIC = bytes.fromhex("cffaedfe")
UNIVERSAL = bytes.fromhex("cafebabe")
LC_SYMTAB, LC_DYSYMTAB, LC_LOAD_DYLIB, LC_SEGMENT_64 = 0x2, 0xB, 0xC, 0x19
LC_LOAD_WEAK_DYLIB, LC_REEXPORT_DYLIB = 0x80000018, 0x8000001F
LC_VERSION_MIN_MACOSX, LC_BUILD_VERSION = 0x24, 0x32
ARCHITECTURES = {0x01000007: "x86_64", 0x0100000C: "arm64"}
WEAK_REFERENCE = 0x40
POINTER = 0xFFFFFFFFF  # the bits of a stored pointer that are an address; what is above chains it to the next
RELATIVE_METHODS = 0x80000000


@dataclass(frozen=True)
class Section:
    address: int
    size: int
    offset: int


def architectures(path):
    """Each architecture of a file; none of what is something else."""
    data = pathlib.Path(path).read_bytes()
    if data[:4] == MAGIC:
        yield MachO(data)
    elif data[:4] == UNIVERSAL:
        for index in range(struct.unpack_from(">I", data, 4)[0]):
            offset, size = struct.unpack_from(">8xII", data, 8 + 20 * index)
            if data[offset : offset + 4] == MAGIC:
                yield MachO(data[offset : offset + size])


class MachO:
    """One architecture. DATA must be such."""

    def __init__(self, data):
        self.data = data
        self.sections = {}
        self.libraries = []
        self.architecture = ARCHITECTURES.get(self._number(4), "")
        self.minimum_system = ()  # (12, 0): the first version of macOS that it is for
        self.undefined = {}  # symbol: the library that it is bound to
        self.weak = set()  # the undefined symbols without which it starts
        self._base = 0
        table = undefined = None
        for command, at in self._commands():
            if command == LC_SEGMENT_64:
                self._segment(at)
            elif command in (LC_LOAD_DYLIB, LC_LOAD_WEAK_DYLIB, LC_REEXPORT_DYLIB):
                self.libraries.append(self._string(at + self._number(at + 8)))
            elif command == LC_SYMTAB:
                table = struct.unpack_from("<I4xI", self.data, at + 8)
            elif command == LC_DYSYMTAB:
                undefined = struct.unpack_from("<II", self.data, at + 24)
            elif command in (LC_VERSION_MIN_MACOSX, LC_BUILD_VERSION):
                version = self._number(at + (8 if command == LC_VERSION_MIN_MACOSX else 12))
                self.minimum_system = version >> 16, version >> 8 & 0xFF
        if table and undefined:
            self._read_symbols(*table, *undefined)

    def _number(self, at):
        return struct.unpack_from("<I", self.data, at)[0]

    def _string(self, at):
        return self.data[at : self.data.index(0, at)].decode()

    def _commands(self):
        at = 32
        for _ in range(self._number(16)):
            yield self._number(at), at
            at += self._number(at + 4)

    def _segment(self, at):
        segment = self.data[at + 8 : at + 24].rstrip(b"\0").decode()
        if segment == "__TEXT":
            self._base = struct.unpack_from("<Q", self.data, at + 24)[0]
        for index in range(self._number(at + 64)):
            section = at + 72 + 80 * index
            name = self.data[section : section + 16].rstrip(b"\0").decode()
            self.sections[segment, name] = Section(*struct.unpack_from("<QQI", self.data, section + 32))

    def _read_symbols(self, table, strings, first, count):
        for index in range(first, first + count):
            name, description = struct.unpack_from("<IxxH8x", self.data, table + 16 * index)
            ordinal = description >> 8
            known = 0 < ordinal <= len(self.libraries)
            symbol = self._string(strings + name)
            self.undefined[symbol] = self.libraries[ordinal - 1] if known else ""
            if description & WEAK_REFERENCE:
                self.weak.add(symbol)

    def section(self, segment, name):
        found = self.sections.get((segment, name))
        return self.data[found.offset : found.offset + found.size] if found else b""

    def _at(self, address):
        """Where in the file a stored pointer points to."""
        address &= POINTER
        if address < self._base:
            address += self._base
        for section in self.sections.values():
            if section.address <= address < section.address + section.size:
                return section.offset + address - section.address
        raise ValueError(f"no section has the address {address:#x}")

    def _pointer(self, at):
        return struct.unpack_from("<Q", self.data, at)[0]

    def _objective_c(self, name):
        """The pointers of a section that the runtime reads; which segment has it is up to the linker."""
        for (_, section), found in self.sections.items():
            if section == name:
                for at in range(found.offset, found.offset + found.size, 8):
                    yield at, self._pointer(at)

    def sent_selectors(self):
        return {self._string(self._at(value)) for _, value in self._objective_c("__objc_selrefs")}

    def own_classes(self):
        """Name and implemented selectors of each class that is defined here."""
        for _, value in self._objective_c("__objc_classlist"):
            class_ = self._at(value)
            methods = set()
            for of in (class_, self._at(self._pointer(class_))):  # itself, and its class
                description = self._at(self._pointer(of + 32) & ~7)
                methods |= self._methods(self._pointer(description + 32))
            yield self._string(self._at(self._pointer(self._at(self._pointer(class_ + 32) & ~7) + 24))), methods

    def _methods(self, list_):
        if not list_:
            return set()
        at = self._at(list_)
        size, count = struct.unpack_from("<II", self.data, at)
        if size & RELATIVE_METHODS:
            raise ValueError("method lists with relative addresses are not read")
        return {self._string(self._at(self._pointer(at + 8 + index * (size & 0xFFFC)))) for index in range(count)}
