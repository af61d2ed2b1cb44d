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

OBJECTS = ("block ", "class ", "id", "protocol ")
VALUED_MACRO = re.compile(r'^#define (\w+) +\(?([-~]?\d\w*|@?"[^"]*")\)?$', re.MULTILINE)


@dataclass
class Declarations:
    """Each dictionary is by name."""

    classes: dict = field(default_factory=dict)
    protocols: dict = field(default_factory=dict)
    functions: dict = field(default_factory=dict)  # signatures
    constants: dict = field(default_factory=dict)  # values, or types of what has none before it runs
    enumerations: dict = field(default_factory=dict)  # {member: value}; those without a name share ""
    structures: dict = field(default_factory=dict)  # names of the fields
    typedefs: set = field(default_factory=set)
    undated: list = field(default_factory=list)  # declared without the version that has them first
    frameworks: dict = field(default_factory=dict)
    macros: dict = field(default_factory=dict)  # of which the value is a number or a text


def umbrella(sdk):
    """A source that imports every framework, and what belongs to none."""
    for framework in sorted(sdk.glob("Frameworks/*.framework")):
        yield f"#import <{framework.stem}/{framework.stem}.h>"
    for header in sorted(sdk.glob("usr/include/**/*.h")):
        yield f"#include <{header.relative_to(sdk / 'usr/include')}>"


def parse(sdk, system_headers, architecture="arm64"):
    """SYSTEM_HEADERS: folders of headers that are not ours. Raises what clang says of declarations with errors."""
    sdk = pathlib.Path(sdk).resolve()
    command = ["clang++-19", "-target", f"{architecture}-apple-macos12.0", "-std=c++20", "-fobjc-arc", "-nostdinc"]
    command += ["-F", str(sdk / "Frameworks"), "-I", str(sdk / "usr/include")]
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
        if name:
            framework = place.removeprefix(self._sdk).split(".framework")[0].rpartition("/")[2]
            found.frameworks.setdefault(name, framework if ".framework" in place else "")
        if kind == "ObjCInterfaceDecl":
            self._read_interface(node, found.classes.setdefault(name, Interface(name)))
        elif kind == "ObjCCategoryDecl":
            name = node["interface"]["name"]
            self._read_interface(node, found.classes.setdefault(name, Interface(name)))
        elif kind == "ObjCProtocolDecl":
            self._read_interface(node, found.protocols.setdefault(name, Interface(name)))
            self._drop_optional(node, found.protocols[name], pathlib.Path(place).read_bytes())
        elif kind == "FunctionDecl":
            found.functions[name] = self._function(node)
        elif kind == "VarDecl":
            value = value_of(node)
            found.constants[name] = self._type(node["type"]) if value is None else value
        elif kind == "EnumDecl":
            found.enumerations.setdefault(enumeration_name(node), {}).update(members(node))
        elif kind == "CXXRecordDecl" and node.get("completeDefinition"):
            found.structures[name] = [c["name"] for c in node["inner"] if c["kind"] == "FieldDecl"]
        elif kind == "TypedefDecl":
            found.typedefs.add(name)
            if "" in found.structures:  # the structure that this names
                found.structures[name] = found.structures.pop("")
        if kind in ("ObjCInterfaceDecl", "FunctionDecl", "VarDecl") and not (is_dated(node) or node.get("inline")):
            found.undated.append(name)

    def _type(self, type_):
        sugared = type_["qualType"]
        if self.types.type(sugared).startswith("struct "):
            return self.types.type(type_.get("desugaredQualType", sugared))
        return self.types.type(sugared)

    def _function(self, node):
        text = node["type"]["qualType"]
        given = [self._type(child["type"]) for child in node.get("inner", []) if child["kind"] == "ParmVarDecl"]
        return signature_text(self.types.type(text[: last_bracket(text)]), given, node.get("variadic", False))

    def _read_interface(self, node, interface):
        interface.superclass = superclass_of(node) or interface.superclass
        interface.protocols += [p["name"] for p in node.get("protocols", []) if p["name"] not in interface.protocols]
        for child in node.get("inner", []):
            if child["kind"] == "ObjCPropertyDecl":
                self._read_property(child, interface)
            elif child["kind"] == "ObjCMethodDecl" and not child.get("isImplicit"):
                arguments = [self._type(c["type"]) for c in child.get("inner", []) if c["kind"] == "ParmVarDecl"]
                signature = signature_text(self._type(child["returnType"]), arguments, child.get("variadic", False))
                method = child["name"], not child.get("instance", False)
                interface.methods[method] = signature
                interface.takes_nil[method] = {
                    index
                    for index, argument in enumerate(a for a in child.get("inner", []) if a["kind"] == "ParmVarDecl")
                    if is_nullable(argument["type"]["qualType"]) and arguments[index].startswith(OBJECTS)
                }
                interface.required.add(child["name"])

    def _read_property(self, node, interface):
        name = node["name"]
        getter = node.get("getter", {}).get("name", name)
        setter = node.get("setter", {}).get("name", f"set{name[:1].upper()}{name[1:]}:")
        interface.properties[name] = Property(
            getter, "" if node.get("readonly") else setter, self._type(node["type"]), node.get("class", False)
        )
        interface.required.add(name)

    @staticmethod
    def _drop_optional(node, protocol, text):
        """The tree does not say which members are optional, so the header's text is asked."""
        start = node["range"]["begin"].get("offset", 0)
        for child in node.get("inner", []):
            before = text[start : child.get("loc", {}).get("offset", start)]
            if before.rfind(b"@optional") > before.rfind(b"@required"):
                protocol.required.discard(child.get("name"))


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


def is_dated(node):
    return any(child["kind"] == "AvailabilityAttr" for child in node.get("inner", []))
