#!/usr/bin/env python3
"""Turn the product's JSON file into the C++ source that carries it inside the program.

Usage: embed_configuration.py PRODUCT.json OUTPUT.cpp

The file must hold the seven well-typed keys, or the build stops with a sentence that says which key is at
fault. Further keys are left out, as the program would ignore them. The output is deterministic.
"""
import base64
import json
import re
import sys

TEXT, TEXTS = "a string", "an array of strings"
KEYS = {
    "installerVersion": TEXT,
    "channelURL": TEXT,
    "offlineURL": TEXT,
    "allowedHosts": TEXTS,
    "macTeamID": TEXT,
    "bundleID": TEXT,
    "windowsSignerSHA256": TEXTS,
}

SOURCE = """// Generated from the product's JSON file by scripts/embed_configuration.py.
#include "InstallerCore/config/BuildConfig.h"

namespace InstallerCore {{

const std::string_view BuildConfig::base64 =
    "{base64}";

const std::string_view BuildConfig::installerIdentifier = "{identifier}";

}} // namespace InstallerCore
"""


class ProductError(Exception):
    """A sentence for the person whose product file it is."""


def unique_members(pairs):
    members = {}
    for key, value in pairs:
        if key in members:
            raise ProductError(f'the key "{key}" occurs more than once')
        members[key] = value
    return members


def is_of_kind(value, kind):
    if kind == TEXT:
        return isinstance(value, str)
    return isinstance(value, list) and all(isinstance(element, str) for element in value)


def read_product(text):
    try:
        product = json.loads(text, object_pairs_hook=unique_members)
    except ValueError as error:
        raise ProductError(f"it is not JSON ({error})") from error
    except RecursionError as error:
        raise ProductError("it is nested too deeply") from error
    if not isinstance(product, dict):
        raise ProductError("its top level is not an object")
    for key, kind in KEYS.items():
        if key not in product:
            raise ProductError(f'the key "{key}" is missing')
        if not is_of_kind(product[key], kind):
            raise ProductError(f'the key "{key}" does not hold {kind}')
    # It names a directory in the user's home, so it may not lead anywhere else.
    if not re.fullmatch(r"[A-Za-z0-9-]+(\.[A-Za-z0-9-]+)+", product["bundleID"]):
        raise ProductError('the key "bundleID" does not hold a reverse-DNS identifier')
    return {key: product[key] for key in KEYS}


def source_text(product):
    compact = json.dumps(product, ensure_ascii=False, separators=(",", ":")).encode("utf-8")
    return SOURCE.format(
        base64=base64.b64encode(compact).decode("ascii"), identifier=product["bundleID"] + ".installer"
    )


def main(arguments):
    if len(arguments) != 2:
        print(__doc__.strip().splitlines()[2], file=sys.stderr)
        return 2
    source, target = arguments
    try:
        with open(source, encoding="utf-8") as file:
            text = source_text(read_product(file.read()))
    except (OSError, UnicodeError, ProductError) as error:
        print(f"{source}: the product's configuration cannot be used: {error}.", file=sys.stderr)
        return 1
    with open(target, "w", encoding="utf-8") as file:
        file.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
