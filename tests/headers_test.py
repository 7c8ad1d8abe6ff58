"""Public headers say widths that are the same everywhere: no built-in long, and every plain enumeration states its
type, so that values which have no name can travel."""
import pathlib
import re
import sys

wrong = []
for name in sys.argv[1:]:
    path = pathlib.Path(name)
    text = re.sub(r"//[^\n]*|/\*.*?\*/|\"(\\.|[^\"\\])*\"", lambda m: re.sub(r"[^\n]", " ", m.group()),
                  path.read_text(), flags=re.S)
    plain_c = 'extern "C" {' in path.read_text() and "__cplusplus" in text
    for number, line in enumerate(text.splitlines(), 1):
        if re.search(r"\blong\b", line.replace("long long", "")):
            wrong.append(f"{name}:{number}: built-in long")
        if not plain_c and re.search(r"\benum\s+(?!class\b)\w+\s*\{", line):
            wrong.append(f"{name}:{number}: an enumeration without a type")
print("\n".join(wrong) or "every width is stated")
sys.exit(1 if wrong else 0)
