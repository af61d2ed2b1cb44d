"""Types as clang spells them, in the words of published_types.py, and "enumeration"."""
import re

from published_types import signature_text

MACRO = re.compile(r"\b(?:NS|CF|API|DISPATCH)_[A-Z_]+(?:\((?:[^()]|\([^()]*\))*\))?\s*")
NOISE = re.compile(
    r"\b(?:const|volatile|struct|enum|union|__strong|__weak|__autoreleasing|__unsafe_unretained|__kindof"
    r"|_Nonnull|_Nullable|_Nullable_result|_Null_unspecified|__attribute__\(\((?:[^()]|\([^()]*\))*\)\))(?!\w)\s*"
)
SCALARS = {
    "void": "void",
    "bool": "bool",
    "BOOL": "bool",  # a char on Intel
    "char": "i8",
    "signed char": "i8",
    "unsigned char": "u8",
    "short": "i16",
    "unsigned short": "u16",
    "int": "i32",
    "unsigned int": "u32",
    "long": "i64",
    "long long": "i64",
    "unsigned long": "u64",
    "unsigned long long": "u64",
    "float": "f32",
    "double": "f64",
    "id": "id",
    "Class": "Class",
    "SEL": "SEL",
    "instancetype": "instance",
}
POINTERS = {"void": "void*", "char": "string"}
CLOSING = {"(": ")", "<": ">", "[": "]"}


def parts(text, separator):
    """TEXT cut at the separators that are in no bracket."""
    depth, start, found = 0, 0, []
    for index, character in enumerate(text):
        depth += (character in CLOSING) - (character in CLOSING.values())
        if character == separator and depth == 0:
            found.append(text[start:index].strip())
            start = index + 1
    return [*found, text[start:].strip()] if text.strip() else []


def closing(text, start):
    depth = 0
    for index in range(start, len(text)):
        depth += (text[index] == "(") - (text[index] == ")")
        if depth == 0:
            return index
    raise ValueError(f"brackets do not match: {text}")


def last_bracket(text):
    """Where the bracket opens that closes last: the arguments of a function's type."""
    start = 0
    while (end := closing(text, text.index("(", start))) < text.rindex(")"):
        start = end
    return text.index("(", start)


class ClangTypes:
    """The names that types are made of are filled in as declarations are read."""

    def __init__(self):
        self.classes = set()
        self.enumerations = set()
        self.placeholders = set()  # of generic classes
        self.typedefs = {}

    def add_typedef(self, name, text):
        if NOISE.sub("", text).strip() != name:
            self.typedefs[name] = text

    def type(self, text):
        text = NOISE.sub("", MACRO.sub("", text)).strip()
        for kind, mark in (("block", "(^"), ("function", "(*")):
            at = text.find(mark)
            if at >= 0:
                return f"{kind} {self._callable(text, at)}"
        array = re.fullmatch(r"(.*)\[(\d*)\]", text)
        if array:  # without a length it is an argument
            return f"{f'array {array[2]}' if array[2] else 'pointer'} {self.type(array[1])}"
        if text.endswith("*"):
            return self._pointer(text[:-1].strip())
        if text in SCALARS:
            return SCALARS[text]
        if text in self.enumerations:
            return "enumeration"
        if text in self.placeholders:
            return "id"
        object_ = re.fullmatch(r"(\w+)\s*<(.*)>", text)
        if object_ and (object_[1] == "id" or object_[1] in self.placeholders):
            return f"protocol {','.join(parts(object_[2], ','))}"
        if text in self.typedefs:
            return self.type(self.typedefs[text])
        return f"struct {text}"

    def _pointer(self, pointee):
        name = re.fullmatch(r"(\w+)\s*(?:<.*>)?", pointee)
        if name and name[1] in self.classes:
            return f"class {name[1]}"
        return POINTERS.get(pointee) or f"pointer {self.type(pointee)}"

    def _callable(self, text, at):
        arguments = text.index("(", closing(text, at))
        return self.signature(text[:at], text[arguments + 1 : closing(text, arguments)])

    def signature(self, result, arguments):
        given = [argument for argument in parts(arguments, ",") if argument != "void"]
        types = [self.type(argument) for argument in given if argument != "..."]
        return signature_text(self.type(result), types, "..." in given)
