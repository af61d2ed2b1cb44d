"""Types as the published metadata tells them apart, written as text.

    i8 u16 i64 f64 bool void           scalars by width and sign; an enumeration is i64 there, whatever it is based on
    id class NSURL protocol A,B        objects; instance is "of the receiver's class"
    Class SEL string void*             string is a C string
    pointer T, struct CGRect, array 5 T
    block R(A;B) function R(A;B)       with "..." last when variadic
"""
import struct

NEXT = 0x80
VARIADIC = 0x40
OFFSET = 0x7FFFFFFF
MORE = 0x80000000

KINDS = (
    "i8 i32 i16 i64 i64 u8 u32 u16 u64 u64 f32 f64 u8 void string id protocol class instance NSString NSMutableString "
    "Class SEL array struct pointer void* function bool block u128 f80 vector extvector complex f16"
).split()


def signature_text(result, arguments, variadic):
    return f"{result}({';'.join([*arguments, *(['...'] if variadic else [])])})"


class TypeReader:
    """Reads the encoded types of DATA, in which SECTIONS start at the offsets named."""

    def __init__(self, data, sections):
        self.data = data
        self.sections = sections

    def string(self, offset):
        start = self.sections["strings"] + offset
        return self.data[start : self.data.index(0, start)].decode()

    def number(self, at):
        return struct.unpack_from("<I", self.data, at)[0]

    def name(self, section, offset):
        """The name of the item at this offset of a section: each item begins with it."""
        return self.string(self.number(self.sections[section] + offset) & OFFSET)

    def offsets(self, at):
        """A list in which all but the last item are marked, and where it ends."""
        found = []
        while True:
            value = self.number(at)
            found.append(value & OFFSET)
            at += 4
            if not value & MORE:
                return found, at

    def type(self, at):
        """The type at this offset, where it ends, and the flags of its first byte."""
        flags = self.data[at] & (NEXT | VARIADIC)
        kind = KINDS[self.data[at] & 0x3F]
        at += 1
        if kind in ("NSString", "NSMutableString"):
            return f"class {kind}", at, flags
        if kind == "array":
            length = struct.unpack_from("<H", self.data, at)[0]
            element, at, _ = self.type(at + 2)
            return f"array {length} {element}", at, flags
        if kind == "pointer":
            pointee, at, _ = self.type(at)
            return f"pointer {pointee}", at, flags
        if kind == "struct":
            offset = self.number(at)
            section = "unions" if offset & MORE else "structs"
            known = offset & OFFSET != OFFSET
            return f"struct {self.name(section, offset & OFFSET) if known else '?'}", at + 4, flags
        if kind in ("block", "function"):
            return f"{kind} {self.signature(self.number(at))}", at + 4, flags
        if kind == "class":
            offsets, at = self.offsets(at)
            return f"class {self.name('classes', offsets[0])}", at, flags
        if kind == "protocol":
            offsets, at = self.offsets(at)
            return f"protocol {','.join(self.name('protocols', offset) for offset in offsets)}", at, flags
        return kind, at, flags

    def signature(self, offset):
        at = self.sections["signatures"] + offset
        result, at, flags = self.type(at)
        variadic = bool(flags & VARIADIC)
        arguments = []
        while flags & NEXT:
            argument, at, flags = self.type(at)
            arguments.append(argument)
        return signature_text(result, arguments, variadic)
