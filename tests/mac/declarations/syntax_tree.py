"""The declarations of our own: what clang makes of every header of the frameworks below one folder."""
import json
import pathlib
import re
import subprocess
import tempfile
from dataclasses import dataclass, field

from clang_types import ClangTypes, last_bracket
from published_metadata import Interface, Property
from published_types import signature_text

OBJECTS = ("block ", "class ", "id", "instance", "protocol ")
VERSION = re.compile(rb"API_AVAILABLE\(macos\(([\d.]+)\)\)")
VALUED_MACRO = re.compile(r'^#define (\w+) +\(?([-~]?\d\w*|@?"[^"]*")\)?$', re.MULTILINE)


@dataclass
class Declarations:
    """Each dictionary is by name."""

    classes: dict = field(default_factory=dict)
    protocols: dict = field(default_factory=dict)
    functions: dict = field(default_factory=dict)  # signatures
    takes_nil: dict = field(default_factory=dict)  # of functions: the arguments that may be nil
    constants: dict = field(default_factory=dict)  # values, or types of what has none before it runs
    enumerations: dict = field(default_factory=dict)  # {member: value}; those without a name share ""
    bases: dict = field(default_factory=dict)  # the types that enumerations with a name are based on
    structures: dict = field(default_factory=dict)  # {field: type}
    typedefs: set = field(default_factory=set)
    versions: dict = field(default_factory=dict)  # by "class A", "-[A b:]", "A.b", "enumerator C"...; or the owner's
    undated: list = field(default_factory=list)  # declared without the version that has them first
    frameworks: dict = field(default_factory=dict)
    macros: dict = field(default_factory=dict)  # of which the value is a number or a text


def umbrella(sdk):
    """A source that imports every framework."""
    for framework in sorted(sdk.glob("Frameworks/*.framework")):
        yield f"#import <{framework.stem}/{framework.stem}.h>"


def parse(sdk, system_headers, architecture="arm64"):
    """SYSTEM_HEADERS: folders of headers that are not ours. Raises what clang says of declarations with errors."""
    sdk = pathlib.Path(sdk).resolve()
    command = ["clang++-19", "-target", f"{architecture}-apple-macos12.0", "-std=c++20", "-fobjc-arc", "-nostdinc"]
    command += ["-F", str(sdk / "Frameworks")]
    for folder in system_headers:
        command += ["-isystem", str(folder)]
    with tempfile.TemporaryDirectory() as directory:
        source = pathlib.Path(directory) / "umbrella.mm"
        source.write_text("\n".join(umbrella(sdk)) + "\n", encoding="utf-8")
        command += ["-fsyntax-only", "-Xclang", "-ast-dump=json", str(source)]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode:
        raise ValueError(done.stderr)
    reader = TreeReader(sdk)
    reader.read(json.loads(done.stdout))
    for header in sorted(sdk.rglob("*.h")):
        reader.declarations.macros.update(VALUED_MACRO.findall(header.read_text(encoding="utf-8")))
    return reader.declarations


class TreeReader:
    def __init__(self, sdk):
        self.declarations = Declarations()
        self.types = ClangTypes()
        self._sdk = str(sdk)
        self._file = ""
        self._text = b""  # of the file that the item is in

    def read(self, tree):
        items = [(node, self._place(node)) for node in self._top_level(tree)]
        for node, _ in items:
            self._read_names(node)
        for node, place in items:
            if place.startswith(self._sdk):
                self._read_item(node, place)

    def _top_level(self, node):
        for child in node.get("inner", []):
            if child["kind"] == "LinkageSpecDecl":
                self._place(child, whole=False)
                yield from self._top_level(child)
            else:
                yield child

    def _place(self, node, whole=True):
        """The file of an item. A place names its file only where the place before it had another one, so every place is
        looked at, in its order."""
        self._visit(node.get("loc", {}))
        place = self._file
        self._visit(node.get("range", {}))
        if whole:
            for key, value in node.items():
                if key not in ("loc", "range"):
                    self._visit(value)
        return place

    def _visit(self, value):
        if isinstance(value, list):
            for item in value:
                self._visit(item)
        elif isinstance(value, dict):
            if "offset" in value:
                self._file = value.get("file", self._file)
            for key, item in value.items():
                if key != "includedFrom":
                    self._visit(item)

    def _read_names(self, node):
        kind, name = node["kind"], node.get("name", "")
        if kind == "ObjCInterfaceDecl":
            self.types.classes.add(name)
            self.types.placeholders |= {
                child["name"] for child in node.get("inner", []) if child["kind"] == "ObjCTypeParamDecl"
            }
        elif kind == "EnumDecl":
            self.types.enumerations.add(enumeration_name(node))
        elif kind == "TypedefDecl":
            self.types.add_typedef(name, node["type"]["qualType"])

    def _read_item(self, node, place):
        kind, name = node["kind"], node.get("name", "")
        found = self.declarations
        if is_forward(node):
            return
        self._text = pathlib.Path(place).read_bytes()
        if name:
            framework = place.removeprefix(self._sdk).split(".framework")[0].rpartition("/")[2]
            found.frameworks.setdefault(name, framework if ".framework" in place else "")
        if kind == "ObjCInterfaceDecl":
            self._date(f"class {name}", node)
            since = found.versions.get(f"class {name}")
            self._read_interface(node, found.classes.setdefault(name, Interface(name)), since)
        elif kind == "ObjCCategoryDecl":
            name = node["interface"]["name"]
            since = self._version(node) or found.versions.get(f"class {name}")
            self._read_interface(node, found.classes.setdefault(name, Interface(name)), since)
        elif kind == "ObjCProtocolDecl":
            self._date(f"protocol {name}", node)
            since = found.versions.get(f"protocol {name}")
            self._read_interface(node, found.protocols.setdefault(name, Interface(name)), since)
            self._drop_optional(node, found.protocols[name])
        elif kind == "FunctionDecl":
            self._read_function(node)
        elif kind == "VarDecl":
            self._date(f"constant {name}", node)
            value = value_of(node)
            found.constants[name] = self._type(node["type"]) if value is None else value
        elif kind == "EnumDecl":
            self._read_enumeration(node)
        elif kind == "CXXRecordDecl" and node.get("completeDefinition"):
            fields = [child for child in node["inner"] if child["kind"] == "FieldDecl"]
            found.structures[name] = {child["name"]: self._type(child["type"]) for child in fields}
        elif kind == "TypedefDecl":
            found.typedefs.add(name)
            if "" in found.structures:  # the structure that this names
                found.structures[name] = found.structures.pop("")

    def _version(self, node):
        """What stands in API_AVAILABLE. The tree says only where that stands."""
        for child in node.get("inner", []):
            if child["kind"] == "AvailabilityAttr":
                found = VERSION.match(self._text, child["range"]["begin"]["expansionLoc"]["offset"])
                if found is None:
                    raise ValueError(f"{node['name']}: what is not API_AVAILABLE(macos(...)) is not read")
                return found[1].decode()
        return None

    def _date(self, declaration, node, inherited=None):
        if any(child["kind"] == "UnavailableAttr" for child in node.get("inner", [])):
            return
        version = self._version(node) or inherited
        if version is None:
            self.declarations.undated.append(declaration)
        self.declarations.versions[declaration] = version or ""  # what it has is then not said of one by one

    def _type(self, type_):
        sugared = type_["qualType"]
        if self.types.type(sugared).startswith("struct "):
            return self.types.type(type_.get("desugaredQualType", sugared))
        return self.types.type(sugared)

    def _read_function(self, node):
        name, text = node["name"], node["type"]["qualType"]
        given = [child["type"] for child in node.get("inner", []) if child["kind"] == "ParmVarDecl"]
        types = [self._type(argument) for argument in given]
        result = self.types.type(text[: last_bracket(text)])
        self.declarations.functions[name] = signature_text(result, types, node.get("variadic", False))
        takes_nil = {index for index, argument in enumerate(given) if is_nullable(argument["qualType"])}
        self.declarations.takes_nil[name] = takes_nil
        if not node.get("inline"):  # no library has it
            self._date(f"function {name}", node)

    def _read_enumeration(self, node):
        name, found = enumeration_name(node), self.declarations
        found.enumerations.setdefault(name, {}).update(members(node))
        enumerators = [child for child in node.get("inner", []) if child["kind"] == "EnumConstantDecl"]
        if name and enumerators:
            base = node["fixedUnderlyingType"]["qualType"]
            found.bases[name] = self.types.type(self.types.typedefs[base] if base == name else base)
            self._date(f"enumeration {name}", node)
        since = found.versions.get(f"enumeration {name}") if name else self._version(node)
        for child in enumerators:
            self._date(f"enumerator {child['name']}", child, since)

    def _read_interface(self, node, interface, since):
        interface.superclass = superclass_of(node) or interface.superclass
        interface.protocols += [p["name"] for p in node.get("protocols", []) if p["name"] not in interface.protocols]
        for child in node.get("inner", []):
            if child["kind"] == "ObjCPropertyDecl":
                self._read_property(child, interface)
                self._date(f"{interface.name}.{child['name']}", child, since)
            elif child["kind"] == "ObjCMethodDecl" and not child.get("isImplicit"):
                self._read_method(child, interface)
                of_class = not child.get("instance", False)
                self._date(shown(interface.name, child["name"], of_class), child, since)

    def _read_method(self, node, interface):
        given = [child["type"] for child in node.get("inner", []) if child["kind"] == "ParmVarDecl"]
        arguments, result = [self._type(argument) for argument in given], self._type(node["returnType"])
        method = node["name"], not node.get("instance", False)
        interface.methods[method] = signature_text(result, arguments, node.get("variadic", False))
        interface.takes_nil[method] = {
            index
            for index, argument in enumerate(given)
            if is_nullable(argument["qualType"]) and arguments[index].startswith(OBJECTS)
        }
        if result.startswith(OBJECTS):
            interface.gives_nil[method] = is_nullable(node["returnType"]["qualType"])
        interface.required.add(node["name"])

    def _read_property(self, node, interface):
        name = node["name"]
        getter = node.get("getter", {}).get("name", name)
        setter = node.get("setter", {}).get("name", f"set{name[:1].upper()}{name[1:]}:")
        type_, of_class = self._type(node["type"]), node.get("class", False)
        property_ = Property(getter, "" if node.get("readonly") else setter, type_, of_class)
        interface.properties[name] = property_
        if type_.startswith(OBJECTS):
            nullable = is_nullable(node["type"]["qualType"])
            takes_nil = nullable or node.get("null_resettable", False)
            if property_.setter:
                interface.takes_nil[property_.setter, of_class] = {0} if takes_nil else set()
            if takes_nil == nullable:  # otherwise it gives something else for the nil that it takes
                interface.gives_nil[getter, of_class] = nullable
        interface.required.add(name)

    def _drop_optional(self, node, protocol):
        """The tree does not say which members are optional, so the header's text is asked."""
        start = node["range"]["begin"].get("offset", 0)
        for child in node.get("inner", []):
            before = self._text[start : child.get("loc", {}).get("offset", start)]
            if before.rfind(b"@optional") > before.rfind(b"@required"):
                protocol.required.discard(child.get("name"))


def shown(owner, selector, of_class):
    return f"{'+' if of_class else '-'}[{owner} {selector}]"


def enumeration_name(node):
    """The name that the type has. In C++ a set of options is an enumeration without a name that is based on one."""
    options = any(child["kind"] == "FlagEnumAttr" for child in node.get("inner", []))
    return node.get("name") or (node["fixedUnderlyingType"]["qualType"] if options else "")


def constant_expression(node):
    for child in node.get("inner", []):
        if child["kind"] in ("ConstantExpr", "IntegerLiteral") and "value" in child:
            return int(child["value"])
        value = constant_expression(child)
        if value is not None:
            return -value if child["kind"] == "UnaryOperator" and child.get("opcode") == "-" else value
    return None


def value_of(variable):
    return constant_expression(variable) if variable.get("init") else None


def members(enumeration):
    value = -1
    for child in enumeration.get("inner", []):
        if child["kind"] == "EnumConstantDecl":
            given = constant_expression(child)
            value = value + 1 if given is None else given
            yield child["name"], value


def superclass_of(node):
    return node.get("super", {}).get("name", "")


def is_forward(node):
    """Whether this is of the form "@class Name;" or "@protocol Name;", which ends where the name ends."""
    named = node["kind"] in ("ObjCInterfaceDecl", "ObjCProtocolDecl")
    return named and node["range"]["end"]["offset"] <= node["loc"]["offset"]


def is_nullable(text):
    """Of an object or a block: whether it is one itself, whatever its own arguments are."""
    if "(^" in text:
        return re.match(r"(?:\s|__\w+)*_Nullable", text[text.index("(^") + 2 :]) is not None
    return re.search(r"_Nullable(?:\s+__\w+)*$", text) is not None
