"""Reads signed code on its own and says what it finds. Whatever does not fit is all that it says, and its status
is 1.

Usage: judge.py code FILE [SLOT=FILE...]   one line of JSON for each code directory of an executable file
       judge.py bundle DIRECTORY           what the bundle seals, as JSON, one line for each seal within it

SLOT is the number of a special slot without its sign, FILE what it must seal.
"""
import hashlib
import json
import os
import plistlib
import re
import struct
import sys

DIGESTS = {1: (hashlib.sha1, 20), 2: (hashlib.sha256, 32), 3: (hashlib.sha256, 20), 4: (hashlib.sha384, 48)}
SLOT_BLOBS = {2: 2, 5: 5, 7: 7}


def digest(kind, content):
    function, size = DIGESTS[kind]
    return function(content).digest()[:size]


def read(path):
    with open(path, "rb") as file:
        return file.read()


def require(condition, text):
    if not condition:
        print(text)
        sys.exit(1)


def slices(data):
    if data[:4] != b"\xca\xfe\xba\xbe":
        yield data
        return
    count = struct.unpack_from(">I", data, 4)[0]
    end = 8 + 20 * count
    for index in range(count):
        offset, size, align = struct.unpack_from(">III", data, 16 + 20 * index)
        require(offset % (1 << align) == 0, "a slice is not aligned")
        require(offset >= end and not any(data[end:offset]), "there is something between slices")
        end = offset + size
        yield data[offset:end]
    require(end == len(data), "something follows the last slice")


def signature(code):
    command_count = struct.unpack_from("<I", code, 16)[0]
    position, found, link_edit_end = 32, None, None
    for _ in range(command_count):
        command, size = struct.unpack_from("<II", code, position)
        if command == 0x1D:
            found = struct.unpack_from("<II", code, position + 8)
        elif command == 0x19 and code[position + 8:position + 24].rstrip(b"\0") == b"__LINKEDIT":
            memory, offset, length = struct.unpack_from("<QQQ", code, position + 32)
            require(length <= memory, "__LINKEDIT is larger in the file than in memory")
            link_edit_end = offset + length
        position += size
    require(found is not None, "there is no signature")
    require(sum(found) == len(code) == link_edit_end, "the signature does not end with the slice")
    require(found[0] % 16 == 0, "the signature is not aligned")
    return found[0], code[found[0]:]


def blobs(super_blob):
    magic, length, count = struct.unpack_from(">III", super_blob, 0)
    require(magic == 0xFADE0CC0 and not any(super_blob[length:]), "the super-blob is malformed")
    for index in range(count):
        slot, offset = struct.unpack_from(">II", super_blob, 12 + 8 * index)
        size = struct.unpack_from(">I", super_blob, offset + 4)[0]
        yield slot, super_blob[offset:offset + size]


def text(blob, offset):
    return blob[offset:blob.index(b"\0", offset)].decode() if offset else ""


def directory(blob, code, parts, sealed):
    fields = struct.unpack_from(">9I4B", blob, 0)
    version, flags, hashes, identifier, special, pages, limit = fields[2:9]
    size, kind, _, page_bits = fields[9:13]
    require(fields[1] == len(blob) and DIGESTS[kind][1] == size, "a code directory is malformed")
    require(limit == len(code), "the code limit is not where the signature begins")
    step = 1 << page_bits if page_bits else max(limit, 1)
    require(pages == (limit + step - 1) // step, "the number of pages is wrong")
    require(hashes + pages * size == len(blob), "the hashes do not end with the directory")
    for page in range(pages):
        found = blob[hashes + page * size:hashes + (page + 1) * size]
        require(found == digest(kind, code[page * step:(page + 1) * step]), f"page {page} is wrong")
    slots = []
    for slot in range(1, special + 1):
        found = blob[hashes - slot * size:hashes - (slot - 1) * size]
        if not any(found):
            continue
        slots.append(slot)
        content = parts[SLOT_BLOBS[slot]] if slot in SLOT_BLOBS else sealed.get(slot)
        require(content is not None, f"slot -{slot} seals nothing that is known")
        require(found == digest(kind, content), f"slot -{slot} is wrong")
    require(set(sealed) <= set(slots), "what should be sealed is not")
    team = struct.unpack_from(">I", blob, 48)[0] if version >= 0x20200 else 0
    segment = struct.unpack_from(">QQQ", blob, 64) if version >= 0x20400 else ()
    return {"type": kind, "version": hex(version), "flags": hex(flags), "identifier": text(blob, identifier),
            "team": text(blob, team), "pages": pages, "page": page_bits, "slots": slots, "segment": segment,
            "cdhash": DIGESTS[kind][0](blob).hexdigest()[:40]}


def judge_code(data, sealed):
    result = []
    for code in slices(data):
        limit, super_blob = signature(code)
        parts = dict(blobs(super_blob))
        require(list(parts) == sorted(parts), "the slots do not ascend")
        for slot, blob in parts.items():
            if slot == 0 or 0x1000 <= slot < 0x1005:
                facts = directory(blob, code[:limit], parts, sealed)
                facts.update(slot=hex(slot), blobs=[hex(part) for part in parts])
                result.append(facts)
    return result


def script(path):
    prefix = "user.com.apple.cs."
    parts = {2: os.getxattr(path, prefix + "CodeRequirements")}
    more = [name for name in sorted(os.listxattr(path)) if name.startswith(prefix + "CodeRequirements-")]
    return [directory(os.getxattr(path, name), read(path), parts, {}) for name in [prefix + "CodeDirectory"] + more]


def layout(bundle):
    """The base, the Info.plist and the folder of the executable."""
    if os.path.isdir(bundle + "/Contents"):
        return bundle + "/Contents", "Info.plist", "MacOS/"
    if os.path.isdir(bundle + "/Versions"):
        return bundle + "/Versions/" + os.readlink(bundle + "/Versions/Current"), "Resources/Info.plist", ""
    return bundle, "Info.plist", ""


def judge_nested(path, entry, lines):
    if os.path.isdir(path):
        found = judge_bundle(path, lines)
    elif read(path)[:4] in (b"\xca\xfe\xba\xbe", b"\xcf\xfa\xed\xfe"):
        found = judge_code(read(path), {})
    else:
        found = script(path)
    require(entry["cdhash"].hex() in [facts["cdhash"] for facts in found], path + " has another hash")
    require(entry["requirement"], path + " may be anything")


def judge_entry(path, entry, lines):
    if "symlink" in entry:
        require(os.readlink(path) == entry["symlink"], path + " leads elsewhere")
        return
    require(not os.path.islink(path), path + " is a link")
    if "requirement" in entry:
        judge_nested(path, entry, lines)
        return
    hashes = {"hash": 1, "hash2": 2, "hash4": 4}
    require("hash2" in entry and set(entry) <= {*hashes, "optional"}, path + " has an odd seal")
    for key, kind in hashes.items():
        require(key not in entry or entry[key] == digest(kind, read(path)), path + " is altered")


def everything(base):
    for folder, folders, files in os.walk(base):
        folders[:] = [name for name in folders if name != "_CodeSignature"]
        names = files + [name for name in folders if os.path.islink(os.path.join(folder, name))]
        yield from (os.path.relpath(os.path.join(folder, name), base) for name in names)


def unsealed(base, main, seal):
    """What neither the seal names nor its rules leave out."""
    nested = tuple(path + "/" for path, entry in seal["files2"].items() if "requirement" in entry)
    omitted = [re.compile(pattern) for pattern, rule in seal["rules2"].items()
               if isinstance(rule, dict) and rule.get("omit")]
    return [path for path in everything(base)
            if path not in seal["files2"] and path not in (main, "CodeResources")
            and not path.startswith(nested) and not any(rule.search(path) for rule in omitted)]


def judge_bundle(bundle, lines):
    base, information, folder = layout(bundle)
    information_list = read(f"{base}/{information}")
    main = folder + plistlib.loads(information_list)["CFBundleExecutable"]
    seal_file = read(base + "/_CodeSignature/CodeResources")
    seal = plistlib.loads(seal_file)
    for path, entry in seal["files2"].items():
        judge_entry(f"{base}/{path}", entry, lines)
    for path, entry in seal.get("files", {}).items():
        found = entry["hash"] if isinstance(entry, dict) else entry
        require(found == digest(1, read(f"{base}/{path}")), path + " is altered, says the older half")
    require(not unsealed(base, main, seal), f"not sealed: {unsealed(base, main, seal)}")
    facts = judge_code(read(f"{base}/{main}"), {1: information_list, 3: seal_file})
    lines.append({"bundle": os.path.basename(bundle), "sealed": sorted(seal["files2"]),
                  "older": sorted(seal.get("files", {})), "code": facts})
    return facts


def main(arguments):
    if arguments[0] == "code":
        sealed = {int(slot): read(path) for slot, path in (pair.split("=", 1) for pair in arguments[2:])}
        lines = judge_code(read(arguments[1]), sealed)
    else:
        lines = []
        judge_bundle(arguments[1], lines)
    for line in lines:
        print(json.dumps(line))


main(sys.argv[1:])
