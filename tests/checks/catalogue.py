"""Every text of the catalogue stands once in the code, and the catalogue's test knows it.

Usage: catalogue.py ROOT
"""
import pathlib
import re
import sys

import cpp_source

CATALOGUE = ("InstallerCore/config/ErrorText.h", "InstallerCore/config/ErrorText.cpp")
CATALOGUE_TEST = "tests/InstallerCore/config/ErrorTextTest.cpp"
PRODUCTION = ("InstallerCore", "KavioInstaller", "hosts")

# Where a text is looked for in a description, written by a script that outlives the program, or said to the user in a
# sentence that begins alike: none is a second spelling of it.
RECOGNISED = {
    ("InstallerCore/download/Downloader.cpp", "HTTP "),
    ("InstallerCore/install/InstallerDiskImage.cpp", "Installer disk image ejection deferred: "),
    ("InstallerCore/localization/ErrorMessage.cpp", "HTTP "),
    ("InstallerCore/localization/InstallerMessage.cpp", "Not enough disk space"),
}


def literals_of(root, path):
    code = (root / path).read_text(encoding="utf-8")
    code = re.sub(r"^\s*#\s*include.*$", "", code, flags=re.MULTILINE)
    return cpp_source.literals(code)


def texts(root):
    """The catalogue's texts; of a composed one, the pieces with a word in them."""
    found = [text for path in CATALOGUE for text in literals_of(root, path)]
    return [text for text in found if re.search(r"[A-Za-z]{2}", text)]


def faults(root):
    spelled = [
        (path, literal)
        for path in cpp_source.files(root, PRODUCTION)
        for literal in literals_of(root, path)
    ]
    tested = literals_of(root, CATALOGUE_TEST)
    catalogue = texts(root)
    if not catalogue:
        yield f"{CATALOGUE[0]}: no texts"
    for text in catalogue:
        # Within the catalogue, one text may be part of another.
        places = [
            path
            for path, literal in spelled
            if (str(path), text) not in RECOGNISED
            and (text == literal or (text in literal and str(path) not in CATALOGUE))
        ]
        if len(places) != 1:
            yield f'"{text}" stands {len(places)} times: {", ".join(map(str, places))}'
        if not any(text in literal for literal in tested):
            yield f'"{text}" is not in {CATALOGUE_TEST}'


if __name__ == "__main__":
    sys.exit(cpp_source.report(list(faults(pathlib.Path(sys.argv[1])))))
