"""Makes faults in the sources of TREE one by one, builds them in BUILD, runs the tests, and lists the
faults that all tests let pass:  mutate.py TREE BUILD SEED COUNT

A fault changes one place of a line: an operator, a constant, a condition, or a whole statement.
Comments, literals, preprocessor lines, static assertions and .def files stay as they are. A fault that
doesn't build is replaced by another one.
"""

import os
import pathlib
import random
import re
import signal
import subprocess
import sys

# Operators and what may stand in their place. Binary ones have blanks on both sides in our format, which
# tells them from brackets of templates, pointers and references.
OPERATORS = {
    " < ": [" <= ", " >= "], " <= ": [" < ", " > "], " > ": [" >= ", " <= "], " >= ": [" > ", " < "],
    " == ": [" != "], " != ": [" == "], " && ": [" || "], " || ": [" && "],
    " + ": [" - "], " - ": [" + "], " * ": [" / "], " / ": [" * "], " % ": [" / "],
    " & ": [" | "], " | ": [" & "], " ^ ": [" | "], " << ": [" >> "], " >> ": [" << "],
    " += ": [" -= ", " = "], " -= ": [" += ", " = "], " |= ": [" &= ", " = "], " &= ": [" |= "],
    "++": ["--"], "--": ["++"],
}
OPERATOR = re.compile("|".join(re.escape(text) for text in sorted(OPERATORS, key=len, reverse=True)))
CONSTANT = re.compile(r"(?<![\w.'])(0[xX][0-9a-fA-F]+|\d+)(?=[uUlL]*(?![\w.']))")
STATEMENT = re.compile(r"^ +((?!return\b|const\b|static\b|using\b|else\b|case\b|goto\b|delete\b)"
                       r"(\*?[A-Za-z_][\w.:>\[\]()-]* (=|[-+|&*/]=|<<=|>>=) .*|[\w.:>-]+\(.*\)|(\+\+|--)[\w.>-]+)"
                       r"|return|break|continue);$")


def masked(text):
    """The text with all that must stay as it is blanked out, at the same offsets."""
    def blank(match):
        return re.sub(r"[^\n]", " ", match.group())
    # Literals keep their quotes, so that a statement still looks like one.
    def literal(match):
        return match.group()[0] + "$" * (len(match.group()) - 2) + match.group()[-1]
    token = re.compile(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|(?<![0-9a-zA-Z])'(?:\\.|[^'\\\n])+'", re.S)
    text = token.sub(lambda match: blank(match) if match.group()[0] == "/" else literal(match), text)
    text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", blank, text, flags=re.M)
    return re.sub(r"static_assert\(.*?\);", blank, text, flags=re.S)


def closing(text, start):
    """Offset of the parenthesis that closes the one at `start`."""
    depth = 0
    for at in range(start, len(text)):
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        if depth == 0:
            return at
    return None


def faults_of(path):
    """All faults of one file: (path, start, end, replacement)."""
    text = path.read_text()
    mask = masked(text)
    found = []

    def add(start, end, replacement):
        found.append((path, start, end, replacement))

    for match in OPERATOR.finditer(mask):
        for other in OPERATORS[match.group()]:
            add(match.start(), match.end(), other)
    for match in CONSTANT.finditer(mask):
        digits = match.group()
        base = 16 if digits[:2] in ("0x", "0X") else 8 if digits[0] == "0" else 10
        form = {16: "0x%X", 8: "0%o" if len(digits) > 1 else "%d", 10: "%d"}[base]
        value = int(digits, base)
        for other in (value + 1, value - 1):
            if other >= 0:
                add(match.start(), match.end(), form % other)
    for match in re.finditer(r"\b(true|false)\b", mask):
        add(match.start(), match.end(), "false" if match.group() == "true" else "true")
    for match in re.finditer(r"!(?=[\w(])", mask):
        add(match.start(), match.end(), "")
    for match in re.finditer(r"\bif \(", mask):
        end = closing(mask, match.end() - 1)
        if end is not None:
            add(match.end(), end, "!(" + text[match.end():end] + ")")
    offset = 0
    for line in mask.splitlines(keepends=True):
        code = line.rstrip()
        if STATEMENT.match(code) and code.count("(") == code.count(")"):
            add(offset + len(code) - len(code.lstrip()), offset + len(code), ";")
        offset += len(line)
    return found


def run(command, seconds, **environment):
    """True if the command ends well and in time."""
    # A faulty program may ask for all the memory of the machine, or signal whom it should not.
    limited = ["bash", "-c", 'ulimit -Sv 6000000; exec "$@"', "run"] + command
    process = subprocess.Popen(limited, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, env=os.environ | environment, start_new_session=True)
    try:
        return process.wait(seconds) == 0
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        return False


def passesTests(build, jobs):
    """True if no test fails; the cases run first, since they are quick and notice most."""
    return all(run(["ctest", "--test-dir", build, "-j", jobs, "--stop-on-failure", "--timeout", "60", *selection],
                   300, GTEST_FAIL_FAST="1", VSP_CASE_SECONDS="3")
               for selection in (["-R", "^cases"], ["-E", "^cases"]))


def main():
    tree, build, seed, count = pathlib.Path(sys.argv[1]), sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
    jobs = str(os.cpu_count())
    files = sorted(path for path in (tree / "src").rglob("*") if path.suffix in (".cpp", ".h"))
    faults = [fault for path in files for fault in faults_of(path)]
    random.Random(seed).shuffle(faults)
    killed = survived = broken = 0
    for path, start, end, replacement in faults:
        if killed + survived == count:
            break
        text = path.read_text()
        changed = text[:start] + replacement + text[end:]
        path.write_text(changed)
        try:
            if not run(["cmake", "--build", build, "-j", jobs], 600):
                broken += 1
                continue
            if not passesTests(build, jobs):
                killed += 1
                continue
        finally:
            path.write_text(text)
        survived += 1
        # The lines that the change touches, as they were and as they are.
        first, last = text.rfind("\n", 0, start) + 1, text.find("\n", end)
        print(f"survived: {path.relative_to(tree)}:{text.count(chr(10), 0, start) + 1}")
        print(f"  - {text[first:last].strip()}")
        print(f"  + {changed[first:last + len(changed) - len(text)].strip()}", flush=True)
    print(f"{killed} killed, {survived} survived, {broken} did not build")


main()
