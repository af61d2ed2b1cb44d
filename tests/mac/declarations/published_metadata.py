"""What others published about Apple's frameworks: the npm package @nativescript/macos-node-api, pinned in metadata/.

Two forms of it are read. A section of the package's library holds, in a form of its own, every selector, signature and
value. The declarations for TypeScript (types/X.d.ts) say besides which framework has a name, which members of a
protocol are required and, of some methods and properties, which arguments and results may be nil. Where they do not say
"null" something may be nil all the same: they never say it of functions, and seldom of strings and "instancetype".

The section: "NSMD", a version of two bytes, then eight offsets of four bytes, each the start of a part after the first,
which is the strings. Names are offsets into the strings. Numbers are little-endian.
"""
import pathlib
import re
import struct
from dataclasses import dataclass, field

from clang_types import parts
from mach_o import architectures
from published_types import MORE, OFFSET, TypeReader

PACKAGE = "node_modules/@nativescript/macos-node-api"
LIBRARY = "build/RelWithDebInfo/NativeScript.apple.node/macos-arm64/NativeScript.framework/Versions/0.1.0/NativeScript"
SECTIONS = "strings constants enumerations signatures functions protocols classes structs unions".split()
HEADER = struct.Struct("<4sH8I")

PROPERTY, READONLY, STATIC, MEMBER_FOLLOWS = 1, 2, 8, 0x80

DECLARATION = re.compile(
    r"^declare (class|interface|const|function) (\w+)(?:[^\n]*\{\n(.*?)^\})?",
    re.MULTILINE | re.DOTALL,
)
MEMBER = re.compile(r"^  (?:static )?(?:readonly |get )?([\w$]+)(\?)?[:(<]", re.MULTILINE)


@dataclass
class Interface:
    """A class or a protocol. Methods are by selector and whether of the class; properties by name."""

    name: str
    superclass: str = ""
    protocols: list = field(default_factory=list)
    methods: dict = field(default_factory=dict)
    properties: dict = field(default_factory=dict)
    required: set = field(default_factory=set)
    takes_nil: dict = field(default_factory=dict)  # of methods and setters that take it: at which arguments
    gives_nil: dict = field(default_factory=dict)  # of methods and getters that give objects: whether perhaps none


@dataclass(frozen=True)
class Property:
    getter: str
    setter: str
    type: str
    of_class: bool


def script_name(selector):
    """How the declarations for TypeScript write a selector."""
    first, *others = selector.split(":")
    return first + "".join(part[:1].upper() + part[1:] for part in others)


class PublishedMetadata:
    def __init__(self, directory):
        package = pathlib.Path(directory) / PACKAGE
        (library,) = architectures(package / LIBRARY)
        self._read_section(library.section("__objc_metadata", "__objc_metadata"))
        self._read_scripts(sorted((package / "types").glob("*.d.ts")))

    def _read_section(self, data):
        magic, version, *starts = HEADER.unpack_from(data)
        if magic != b"NSMD" or version != 1:
            raise ValueError("the published metadata is not of the form that is known")
        starts = [HEADER.size, *starts]
        self._data = data
        self._reader = TypeReader(data, dict(zip(SECTIONS, starts)))
        self._ends = dict(zip(SECTIONS, [*starts[1:], len(data)]))
        self.constants = dict(self._items("constants", self._constant))
        self.enumerations = dict(self._items("enumerations", self._enumeration))
        self.functions = dict(self._items("functions", self._function))
        self.structures = dict(self._items("structs", self._structure))
        self.protocols = dict(self._items("protocols", self._protocol))
        self.classes = dict(self._items("classes", self._class))

    def _items(self, section, read):
        at = self._reader.sections[section]
        while at < self._ends[section]:
            name, value, at = read(at)
            yield name, value
        if at != self._ends[section]:
            raise ValueError(f"the published metadata is not of the form that is known: {section}")

    def _name(self, at):
        return self._reader.string(self._reader.number(at) & OFFSET)

    def _constant(self, at):
        """A value, or the type of what has none before it runs."""
        name, kind = self._name(at), self._data[at + 4]
        at += 5
        if kind == 0:
            type_, at, _ = self._reader.type(at)
            return name, type_, at
        if kind == 3:  # a string, of which only four bytes are told
            return name, "class NSString", at + 4
        return name, struct.unpack_from("<q" if kind == 1 else "<d", self._data, at)[0], at + 8

    def _enumeration(self, at):
        name, at = self._name(at), at + 4
        members = {}
        while True:
            members[self._name(at)] = struct.unpack_from("<q", self._data, at + 4)[0]
            follows = self._reader.number(at) & MORE
            at += 12
            if not follows:
                return name, members, at

    def _function(self, at):
        return self._name(at), self._reader.signature(self._reader.number(at + 4)), at + 8

    def _structure(self, at):
        """The types of its fields, none of one that is known by its name only. Sizes and offsets are passed over."""
        name, at = self._name(at), at + 6
        fields = {}
        if self._reader.number(at) & OFFSET == OFFSET:
            return name, fields, at + 4
        while True:
            field_, follows = self._name(at), self._reader.number(at) & MORE
            fields[field_], at, _ = self._reader.type(at + 6)
            if not follows:
                return name, fields, at

    def _adopted(self, named, at):
        """The protocols, if the name that stands at NAMED says that there are any, and what follows them."""
        if not self._reader.number(named) & MORE:
            return [], at
        offsets, at = self._reader.offsets(at)
        return [self._reader.name("protocols", offset) for offset in offsets], at

    def _protocol(self, at):
        protocol = Interface(self._name(at))
        protocol.protocols, at = self._adopted(at, at + 4)
        return protocol.name, protocol, self._members(protocol, at)

    def _class(self, at):
        class_ = Interface(self._name(at))
        class_.protocols, at = self._adopted(at, at + 8)
        superclass = self._reader.number(at)
        if superclass & OFFSET != OFFSET:
            class_.superclass = self._reader.name("classes", superclass & OFFSET)
        return class_.name, class_, self._members(class_, at + 4) if superclass & MORE else at + 4

    def _members(self, interface, at):
        number = self._reader.number
        while True:
            flags = self._data[at]
            of_class = bool(flags & STATIC)
            if flags & PROPERTY:
                type_ = self._reader.signature(number(at + 9)).removesuffix("()")
                setter = "" if flags & READONLY else self._name(at + 13)
                interface.properties[self._name(at + 1)] = Property(self._name(at + 5), setter, type_, of_class)
                at += 13 if flags & READONLY else 21
            elif flags & ~MEMBER_FOLLOWS:
                interface.methods[self._name(at + 1), of_class] = self._reader.signature(number(at + 5))
                at += 9
            else:
                at += 1
            if not flags & MEMBER_FOLLOWS:
                return at

    def _read_scripts(self, paths):
        self.frameworks = {}
        self._bodies = {}
        for path in paths:
            for kind, name, body in DECLARATION.findall(path.read_text(encoding="utf-8")):
                self.frameworks.setdefault(name, set()).add(path.name.removesuffix(".d.ts"))
                self._bodies.setdefault((name, kind == "interface"), body)
                if kind == "interface" and name in self.protocols:
                    self.protocols[name].required = {m for m, optional in MEMBER.findall(body) if not optional}

    def takes_nil(self, interface, selector, of_class):
        """At which arguments; None where the method is not among the declarations for TypeScript."""
        line = self._line(interface, rf"{script_name(selector)}\??(?:<.*?>)?\((.*)\): .*;", of_class)
        if line is None:
            return None
        arguments = [argument for argument in parts(line[1], ",") if not argument.startswith("this: ")]
        return {index for index, argument in enumerate(arguments) if argument.endswith("| null")}

    def gives_nil(self, interface, selector, of_class):
        """Whether it is said that this method or getter may give nil."""
        pattern = rf"(?:readonly |get )?{script_name(selector)}\??(?:(?:<.*?>)?\(.*\))?: [^(]*\| null;"
        return self._line(interface, pattern, of_class) is not None

    def _line(self, interface, pattern, of_class):
        body = self._bodies.get((interface.name, interface.name in self.protocols), "")
        return re.search(rf"^  {'static ' if of_class else ''}{pattern}$", body, re.MULTILINE)
