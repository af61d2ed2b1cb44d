"""Which names the stubs export that executables are linked with (.tbd files).

Only what such files have of YAML is read: keys with lists of words in brackets, in blocks that begin with the targets
they are for.
"""
import re

LIST = re.compile(r"([\w-]+):\s*\[([^\]]*)\]")
INSTALL_NAME = re.compile(r"^install-name:\s*(\S+)", re.MULTILINE)
PREFIXES = {
    "symbols": ("",),
    "weak-symbols": ("",),
    "thread-local-symbols": ("",),
    "objc-classes": ("_OBJC_CLASS_$_", "_OBJC_METACLASS_$_"),
    "objc-eh-types": ("_OBJC_EHTYPE_$_",),
    "objc-ivars": ("_OBJC_IVAR_$_",),
}


def words(text):
    return [word.strip().strip("'\"") for word in text.split(",") if word.strip()]


def exported(text, architecture):
    """The names in one stub, for macOS on that architecture. Programs for arm64 find what is for arm64e."""
    meant = {f"{architecture}-macos"} | ({"arm64e-macos"} if architecture == "arm64" else set())
    names = set()
    is_meant = False
    for key, values in LIST.findall(text):
        if key == "targets":
            is_meant = not meant.isdisjoint(words(values))
        elif is_meant:
            names.update(prefix + word for prefix in PREFIXES.get(key, ()) for word in words(values))
    return names


def install_name(text):
    """The name that executables know the library by. A file may describe what the library hands on behind it."""
    return INSTALL_NAME.search(text).group(1).strip("'\"")


def by_library(files, architecture):
    """The names that each library exports, by its install name."""
    texts = [file.read_text(encoding="utf-8") for file in files]
    return {install_name(text): exported(text, architecture) for text in texts}
