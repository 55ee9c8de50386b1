"""What the scripts that read C++ share: which sources there are, and their text without what is not
code."""
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent


def files(*patterns, root=ROOT):
    """The paths under version control that match these patterns of git, from the root."""
    listed = subprocess.run(["git", "ls-files", *patterns], cwd=root, check=True,
                            capture_output=True, text=True).stdout.split()
    return [name for name in listed if (root / name).is_file()]


def without_texts(text):
    """The text with comments, literals of characters and preprocessor lines blanked, so that
    positions stay."""
    pattern = (r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\\n])+\''
               r"|^[ \t]*#(?:\\\n|[^\n])*")
    return re.sub(pattern, lambda match: re.sub(r"[^\n]", " ", match[0]), text,
                  flags=re.MULTILINE | re.DOTALL)


def end_of_parentheses(text, start):
    """The position behind the parenthesis that closes the one at start."""
    depth = 0
    for position in range(start, len(text)):
        depth += {"(": 1, ")": -1}.get(text[position], 0)
        if depth == 0:
            return position + 1
    return len(text)
