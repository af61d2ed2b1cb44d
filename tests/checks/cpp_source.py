"""C++ sources as the checks see them: without comments, or as their string literals."""
import re

HEADER, SOURCE, OBJECTIVE_SOURCE = ".h", ".cpp", ".mm"

TOKEN = re.compile(
    r"""
      (?P<comment> //[^\n]* | /\*.*?\*/ )
    | (?:u8|[uUL])?R"(?P<fence>[^()\\\s]*)\((?P<raw>.*?)\)(?P=fence)"
    | (?:u8|[uUL])?"(?P<text>(?:[^"\\\n]|\\.)*)"
    | (?<!\w)\d(?:[\w.]|'(?=\w))*             # a number; its separators quote nothing
    | (?:u8|[uUL])?'(?:[^'\\\n]|\\.)+'
    """,
    re.VERBOSE | re.DOTALL,
)


def files(root, folders):
    """The C++ files below the folders, as paths relative to the root."""
    found = []
    for folder in folders:
        found += [path for path in (root / folder).rglob("*") if path.suffix in (HEADER, SOURCE, OBJECTIVE_SOURCE)]
    return sorted(path.relative_to(root) for path in found)


def without_comments(text):
    """The text with each comment as one space and continued lines joined."""
    joined = re.sub(r"\\\r?\n", "", text)
    return TOKEN.sub(lambda token: " " if token["comment"] else token[0], joined)


def literals(text):
    """The string literals, adjacent ones as one, escapes as written."""
    found = []
    end_of_last = None
    code = without_comments(text)
    for token in TOKEN.finditer(code):
        content = token["raw"] if token["text"] is None else token["text"]
        if content is None:
            continue
        if end_of_last is not None and not code[end_of_last : token.start()].strip():
            found[-1] += content
        else:
            found.append(content)
        end_of_last = token.end()
    return found


def report(faults):
    """Prints the faults; gives the exit status."""
    for fault in faults:
        print(fault)
    return 1 if faults else 0
