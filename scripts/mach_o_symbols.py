"""Readies a slice of an executable for the removal of its local symbols.

Pointers and stubs have an entry each in the table of indirect symbols: the index of the symbol that they lead to. Where
that is a local one, LLVM's strip (19) leaves an entry that says nothing, another with each run. A Mac's own strip marks
such entries as local instead, which is what local_entries_marked() does beforehand.
"""
import struct

LOAD_COMMANDS = 32  # where they begin, behind the header; their number is at 16
LC_DYSYMTAB = 0xB
INDIRECT_SYMBOL_LOCAL = 0x80000000


def dynamic_symbol_table(content):
    """First local symbol, number of local ones; offset of the indirect table, number of its entries."""
    at = LOAD_COMMANDS
    for _ in range(struct.unpack_from("<I", content, 16)[0]):
        command, size = struct.unpack_from("<II", content, at)
        if command == LC_DYSYMTAB:
            return struct.unpack_from("<II40xII", content, at + 8)
        at += size
    return 0, 0, 0, 0


def local_entries_marked(content):
    """The slice, little-endian and of 64 bits, with the entries that lead to local symbols marked so."""
    result = bytearray(content)
    first_local, locals_, offset, count = dynamic_symbol_table(content)
    for at in range(offset, offset + 4 * count, 4):
        [index] = struct.unpack_from("<I", result, at)
        if first_local <= index < first_local + locals_:
            struct.pack_into("<I", result, at, INDIRECT_SYMBOL_LOCAL)
    return bytes(result)
