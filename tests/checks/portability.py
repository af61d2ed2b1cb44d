"""Who may include whom, and that portable code is portable. Usage: portability.py ROOT"""
import pathlib
import re
import sys

import cpp_source

PORTABLE = ("InstallerCore", "KavioInstaller", "hosts/shared")

# What a file may include, by the folder that it is in. The arrows never turn back.
LAYERS = {
    "InstallerCore": ("InstallerCore/",),
    "KavioInstaller": ("InstallerCore/", "KavioInstaller/"),
    "hosts/posix": ("InstallerCore/", "KavioInstaller/", "hosts/posix/"),
    "hosts/shared": ("InstallerCore/", "hosts/shared/"),
    "hosts/linux": ("InstallerCore/", "KavioInstaller/", "hosts/posix/", "hosts/shared/", "hosts/linux/"),
    "hosts/contract": ("InstallerCore/", "hosts/posix/", "hosts/contract/"),
    "hosts/macos": ("InstallerCore/", "KavioInstaller/", "hosts/posix/", "hosts/shared/", "hosts/contract/", "hosts/macos/"),
    "rehearsal": ("InstallerCore/", "KavioInstaller/", "hosts/", "rehearsal/"),
    "artwork": ("InstallerCore/", "KavioInstaller/", "hosts/", "artwork/"),
}

STANDARD = set(
    """
    algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv chrono cinttypes
    climits clocale cmath codecvt compare complex concepts condition_variable coroutine csetjmp csignal cstdarg
    cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype deque exception execution filesystem
    format forward_list fstream functional future initializer_list iomanip ios iosfwd iostream istream iterator
    latch limits list locale map memory memory_resource mutex new numbers numeric optional ostream queue random
    ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept
    stop_token streambuf string string_view strstream syncstream system_error thread tuple type_traits typeindex
    typeinfo unordered_map unordered_set utility valarray variant vector version
    """.split()
)

# Header-only libraries. They stay out of our headers, so that a host may do without them.
LIBRARIES = {"nlohmann/json.hpp", "utf8.h"}
JSON_HEADER = "InstallerCore/support/Json.h"

DIRECTIVE = re.compile(r"^[ \t]*(?:#|%:)[ \t]*(.*?)[ \t]*$", re.MULTILINE)
INCLUDE = re.compile(r'include[ \t]*(?:<([^>]+)>|"([^"]+)")')
PLATFORM = re.compile(
    r"\b(__APPLE__|__MACH__|TARGET_OS_\w+|__linux(?:__)?|__unix(?:__)?|__ANDROID__|_WIN32|_WIN64|_MSC_VER"
    r"|__GLIBC__|__has_include)\b"
)


def library_fault(path, header):
    if header in STANDARD:
        return None
    if header in LIBRARIES:
        in_header = path.suffix == cpp_source.HEADER
        allowed = not in_header or (header == "nlohmann/json.hpp" and str(path) == JSON_HEADER)
        return None if allowed else f"<{header}> in a header"
    return f"<{header}> is neither of the standard library nor allowed"


def portable_faults(path, code):
    for directive in DIRECTIVE.findall(code):
        include = INCLUDE.fullmatch(directive)
        if include and include[1]:
            yield library_fault(path, include[1])
        elif include and include[2] == JSON_HEADER and path.suffix == cpp_source.HEADER:
            yield f'"{JSON_HEADER}" in a header'
        elif not include and directive != "pragma once":
            yield f"#{directive}"
    for name in PLATFORM.findall(code):
        yield f"{name} is known on some platforms only"
    if re.search(r'\bextern\s*"C', code):
        yield 'extern "C" goes around the platform interfaces'


def layer_faults(code, allowed):
    for directive in DIRECTIVE.findall(code):
        include = INCLUDE.fullmatch(directive)
        if include and include[2] and not include[2].startswith(allowed):
            yield f'"{include[2]}" is not for this folder'
        if include and include[2] and ".." in include[2].split("/"):
            yield f'"{include[2]}" leads out of its folder'


def faults(root):
    for folder, allowed in LAYERS.items():
        for path in cpp_source.files(root, [folder]):
            code = cpp_source.without_comments((root / path).read_text(encoding="utf-8"))
            found = list(layer_faults(code, allowed))
            if folder in PORTABLE:
                found += portable_faults(path, code)
            yield from (f"{path}: {fault}" for fault in found if fault)
    for folder in PORTABLE:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".c", ".cc", ".cxx", ".hh", ".hpp", ".hxx", ".inc", ".ipp", ".m", ".mm"):
                yield f"{path.relative_to(root)}: neither {cpp_source.HEADER} nor {cpp_source.SOURCE}"


if __name__ == "__main__":
    sys.exit(cpp_source.report(list(faults(pathlib.Path(sys.argv[1])))))
