"""Whether a type of a declaration agrees with the published one: what a caller passes and gets must be the same."""
from clang_types import closing, parts


def split_signature(text):
    start = text.index("(") if not text.startswith(("block", "function")) else closing(text, text.index("(")) + 1
    return text[:start], parts(text[start + 1 : -1], ";")


def agree(ours, theirs, of=""):
    """OF is the class that has the member."""
    if ours == theirs:
        return True
    kind, _, rest = ours.partition(" ")
    their_kind, _, their_rest = theirs.partition(" ")
    if "instance" in (kind, their_kind):
        return {kind, their_kind} == {"instance", "id"} or f"class {of}" in (ours, theirs)
    if their_kind == "id":  # Core Foundation's objects among them, and what a generic class holds
        return kind in ("protocol", "void*") or ours.startswith("pointer struct ")
    if kind == "enumeration":
        return theirs in ("i64", "u64")
    if {kind, their_kind} == {"u8", "bool"}:  # both are used for BOOL and Boolean there
        return True
    if kind == "protocol" and their_kind == "protocol":
        return {name.removesuffix("Protocol") for name in their_rest.split(",")} == set(rest.split(","))
    if kind == "pointer" and their_kind == "array":  # an argument
        return agree(rest, their_rest.partition(" ")[2], of)
    if kind == "pointer" and their_kind == "pointer":
        return agree(rest, their_rest, of)
    if kind == their_kind and kind in ("block", "function"):
        return signatures_agree(rest, their_rest, of)
    return False


def signatures_agree(ours, theirs, of=""):
    result, arguments = split_signature(ours)
    their_result, their_arguments = split_signature(theirs)
    if their_arguments == ["..."]:  # what stands before the dots is not told
        return agree(result, their_result, of) and arguments[-1:] == ["..."]
    return (
        agree(result, their_result, of)
        and len(arguments) == len(their_arguments)
        and all(agree(mine, other, of) for mine, other in zip(arguments, their_arguments))
    )
