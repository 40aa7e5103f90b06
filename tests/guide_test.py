#!/usr/bin/env python3
"""Walks docs/guide.md: runs its commands in their order in an empty directory, with the program that is installed
below PREFIX, and compares what they print.

  guide_test.py PREFIX             compares all but what is slow, and fails on a difference
  guide_test.py PREFIX --all       compares all
  guide_test.py PREFIX --update    writes what was printed into the guide

In a block of code, a line that begins with "$ " is a command, with the text of its "<<'END'"; what comes after it is its
output. There "..." stands for anything within a line, and by itself for any lines. A block below
"<!-- needs: NAME... -->", and what follows up to the next heading, is left out where a command or file isn't
there; it may also be "slow".
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

GUIDE = pathlib.Path(__file__).resolve().parent.parent / "docs/guide.md"
INSTALLED = "/usr/share/doc/vsp32"
# A chapter that goes on with the files of the one before.
CONTINUES = "## Where the time goes"


class Command:
    def __init__(self, text, first, needs, slow):
        self.text, self.first, self.last, self.needs, self.slow = text, first, first, needs, slow

    def missing(self):
        return [name for name in self.needs if not (os.path.exists(name) if "/" in name else shutil.which(name))]


def read_commands(lines):
    """The commands of the guide; `first` and `last` bound the lines of their output."""
    commands, needs, slow, at = [], [], False, 0
    while at < len(lines):
        line = lines[at]
        at += 1
        if match := re.fullmatch(r"<!-- (slow, )?needs: (.*) -->", line):
            slow, needs = match.group(1) is not None, match.group(2).split()
        elif line.startswith("## ") and not line.startswith(CONTINUES):
            slow, needs = False, []
        if not line.startswith("    $ "):
            continue
        text = line[6:]
        if match := re.search(r"<<'(\w+)'", line):
            while True:
                text += "\n" + lines[at][4:]
                at += 1
                if lines[at - 1] == "    " + match.group(1):
                    break
        command = Command(text, at, needs, slow)
        end = at
        while end < len(lines) and (lines[end].startswith("    ") or not lines[end]) and not lines[end].startswith("    $ "):
            end += 1
        while end > at and not lines[end - 1]:
            end -= 1
        command.last = end
        commands.append(command)
        at = end
    return commands


def run(commands, prefix):
    """What each command prints, as lines."""
    mark = "=== command %d ==="
    script = ""
    documents = f"{prefix}/share/doc/vsp32".replace(" ", "\\ ")
    for number, command in enumerate(commands):
        text = command.text.replace(INSTALLED, documents)
        # A reader is slower than the clock of the file system.
        if text.startswith("touch "):
            text = f"sleep 0.05; {text}"
        # A command may ask for the status of the one before.
        script += f"__status=$?; echo '{mark % number}'; (exit $__status)\n{text}\n"
    script += f"echo '{mark % len(commands)}'\n"
    with tempfile.TemporaryDirectory() as folder:
        environment = dict(os.environ, PATH=f"{prefix}/bin:{os.environ['PATH']}", CMAKE_PREFIX_PATH=prefix,
                           LC_ALL="C.UTF-8", HOME=folder)
        for name in ("LANGUAGE", "MAKEFLAGS", "MAKELEVEL"):
            environment.pop(name, None)
        os.mkdir(f"{folder}/walk")
        result = subprocess.run(["bash"], input=script, cwd=f"{folder}/walk", env=environment, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300, errors="replace")
    printed = result.stdout.replace("\r", "")
    outputs = []
    for number in range(len(commands)):
        begin = printed.find(mark % number + "\n")
        end = printed.find(mark % (number + 1) + "\n")
        if begin < 0 or end < 0:
            sys.exit(f"the walk ended early: {printed[-2000:]}")
        outputs.append(printed[begin + len(mark % number) + 1:end].rstrip("\n").split("\n"))
    return [[line.rstrip() for line in output] if output != [""] else [] for output in outputs]


def fits(expected, printed):
    pattern = ""
    for line in expected:
        if line.strip() == "...":
            pattern += r"(?:.*\n)*?"
        else:
            pattern += ".*".join(re.escape(part) for part in line.split("...")) + "\n"
    return re.fullmatch(pattern, "".join(line + "\n" for line in printed)) is not None


def main():
    prefix, update = os.path.abspath(sys.argv[1]), sys.argv[2:] == ["--update"]
    slow = bool(sys.argv[2:])
    lines = GUIDE.read_text().split("\n")
    all_commands = read_commands(lines)
    all_commands = [command for command in all_commands if slow or not command.slow]
    commands = [command for command in all_commands if not command.missing()]
    for missing in sorted({" ".join(command.missing()) for command in all_commands if command.missing()}):
        print(f"not walked: what needs {missing}")
    if len(commands) < 20:
        sys.exit("the guide has hardly a command")
    status = 0
    outputs = run(commands, prefix)
    for command, printed in reversed(list(zip(commands, outputs))):
        expected = [line[4:].rstrip() for line in lines[command.first:command.last]]
        if fits(expected, printed):
            continue
        if update and not any("..." in line for line in expected):
            lines[command.first:command.last] = [("    " + line).rstrip() for line in printed]
        else:
            status = 1
            print(f"guide.md: $ {command.text}\n--- expected\n" + "\n".join(expected) + "\n--- printed\n" + "\n".join(printed))
    if update:
        GUIDE.write_text("\n".join(lines))
    sys.exit(status)


main()
