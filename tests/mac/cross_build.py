"""The commands of a cross-build that is there already."""
import os
import pathlib
import shlex
import subprocess

import built

TARGET = f"hosts/macos/{built.NAME}"


def directory(architecture):
    return built.BUILDS / f"mac-{architecture}"


def link_command(architecture):
    """What linked the application's executable, as words."""
    commands = built.output("ninja", "-C", directory(architecture), "-t", "commands", TARGET).splitlines()
    # Between words for the shell that do nothing.
    [link] = [part for part in commands[-1].split(" && ") if part.strip() not in ("", ":")]
    return shlex.split(link)


def linker_command(architecture, place):
    """What its compiler asks of the linker then, as words without the linker's own name: with the C++ library."""
    words = link_command(architecture)
    words[words.index("-o") + 1] = str(place / "first")
    result = subprocess.run(words, cwd=directory(architecture), env={**os.environ, "ZIG_VERBOSE_LINK": "1"},
                            capture_output=True, text=True)
    [line] = [line for line in result.stderr.splitlines() if line.startswith("zig ld ")]
    return shlex.split(line)[2:]


def absolute(word, base):
    path = pathlib.Path(base) / word
    return str(path) if path.is_file() else word
