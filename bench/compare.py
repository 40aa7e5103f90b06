#!/usr/bin/env python3
"""Measures this program and other preprocessors on the same texts; started by compare.sh.

Each row is one text. All programs of a row run in turn, round after round, so that a slow moment of the
machine falls on all of them. What counts is the processor time of the child as the system accounts for it:
user and system together, and user alone. (The system takes many samples to split the two, so the split of
a run of a few milliseconds is rough; the sum is exact.) Before a row is measured each program's output is
reduced to tokens and compared with what the generator expects, or, for real sources, with the output of the
system's compiler. A program that gets other tokens, or fails, is left out of the row.
"""
import argparse
import hashlib
import os
import re
import resource
import shlex
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile

CPU_SECONDS = 60  # a run that takes longer is given up
GROWTH_ROUNDS = 3
SLOW = 30  # a program that takes this many times as long as the fastest runs once

TOKEN = re.compile(
    rb"[A-Za-z_$\x80-\xff][\w$\x80-\xff]*|\.?\d(?:[eEpP][+-]|[\w.])*"
    rb"|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])*'"
    rb"|\.\.\.|<<=|>>=|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&^|]=|##|\S")
# Our markers are comments at the start of a line; the others' begin with #, as do the lines of #pragma.
MARKERS = re.compile(rb"(?m)^/\* [^\n]* \d+: \*/(?:[ \t]*#[^\n]*)?|^[ \t]*#[^\n]*")


def tokens(text):
    """The number of tokens in an output and a digest of them."""
    found = TOKEN.findall(MARKERS.sub(b"", text))
    return len(found), hashlib.sha256(b"\n".join(found)).hexdigest()


def read(path):
    with open(path, "rb") as stream:
        return stream.read()


class Row:
    """A text: where it lies, what is passed along, and who runs on it."""

    def __init__(self, name, title, kind=None, size=0, growth=False, defines=(), dirs=(), response=None):
        self.name, self.title, self.kind, self.size, self.growth = name, title, kind, size, growth
        self.defines, self.dirs, self.response = list(defines), list(dirs), response
        self.isolated = kind is None  # real sources see no macros and headers but those given here

    def sources(self):
        if self.kind == "small":
            return sorted(name for name in os.listdir(".") if re.fullmatch(r"s\d+\.c", name))
        return [(self.kind or self.name) + ".c"]


# What this program defines by itself, for the others on real sources. It also writes __inline as inline.
OUR_MACROS = ["_WIN32=1", "__WIN32__=1", "_M_IX86=600", "_Windows=1", "__FLAT__=1", "__CDECL__=1",
              "__CONSOLE__=1", "__TLS__=1", "__VSOPT__=1", "_INTEGRAL_MAX_BITS=64", "_CPPUNWIND=1",
              "_PUSHPOP_SUPPORTED=", "_STDCALL_SUPPORTED=", "__VESTRELC__=0x0550", "__KESTAC__=0x0550",
              "__inline=inline"]
WINDOWS_HEADERS = "/usr/i686-w64-mingw32/include"
DUKTAPE = "/usr/share/duktape"

ROWS = [
    # The headers ask for a compiler that they know; these names take the neutral way through them.
    Row("windows", "windows.h of mingw-w64-i686-dev", defines=["__WIDL__=1", "_X86_=1"],
        dirs=["stubs", WINDOWS_HEADERS]),
    Row("duktape", "duktape.c, a C source of 3.6 MB", defines=[
        "INT_MAX=2147483647", "INT_MIN=(-2147483647-1)", "CHAR_BIT=8", "USHRT_MAX=65535",
        "UINT_MAX=4294967295UL", "__i386__=1"], dirs=["stubs"]),
    Row("headers", "400 guarded headers of 4 KB", "headers", 1600),
    Row("plain", "8 MB of code with few macros", "large", 8192),
    Row("macros", "4 MB with a macro call in nearly every line", "macros", 4096),
    Row("tables", "4 MB of lists expanded row by row", "tables", 4096),
    Row("nested", "2 MB of calls in the arguments of calls", "nested", 2048),
    Row("pasting", "4 MB of # and ##", "pasting", 4096),
    Row("skipped", "16 MB of skipped groups", "skipped", 16384),
    Row("comments", "24 MB of comments", "comments", 24576),
    Row("small", "500 files of 2 KB, a process for each", "small", 1000),
    Row("defines", "1,000,000 macros", "defines", 1000000, growth=True),
    Row("chain", "1,000,000 macros, each naming the one before", "chain", 1000000, growth=True),
    Row("options", "1,000,000 macros as -D in a response file", "options", 1000000, growth=True,
        response="options.txt"),
    Row("permutations", "100,000 macros named by the same ten letters", "permutations", 100000, growth=True),
    Row("calls", "100,000 calls with 8 arguments", "calls", 100000, growth=True),
    Row("directories", "2,000 headers in the last of 300 directories, twice", "directories", 2000, growth=True,
        response="options.txt"),
]


class Program:
    """A preprocessor: its path and the switches that it needs."""

    def __init__(self, name, path, switches=(), isolated=(), output="-o", growth=False):
        self.name, self.path, self.switches, self.output = name, path, list(switches), output
        self.isolated, self.growth, self.ours = list(isolated), growth, False

    def command(self, row, source):
        """The words of a run, and the file that it writes."""
        words = [self.path] + self.switches + (self.isolated if row.isolated else [])
        words += ["-D" + text for text in (OUR_MACROS if row.isolated else []) + row.defines]
        words += ["-I" + name for name in row.dirs]
        if row.response:
            words.append("@" + row.response)
        target = source[:-1] + "i"
        return words + [source] + ([self.output] if self.output else []) + [target], target


class Ours(Program):
    def __init__(self, name, command):
        path, *switches = shlex.split(command)
        super().__init__(name, os.path.abspath(path), switches, growth=True)
        self.ours = True

    def command(self, row, source):
        words = [self.path] + self.switches + ["-q", "-6"] + ["-D" + text for text in row.defines]
        words += ["-I" + name for name in row.dirs]
        if row.response:
            words.append("@" + row.response)
        return words + [source], source[:-1] + "i"


class Cat(Program):
    """Copies what the others read: nobody can be faster."""

    def __init__(self):
        super().__init__("cat", shutil.which("cat"))
        self.files = []

    def command(self, row, source):
        return [self.path] + (self.files or [source]), source[:-1] + "i"


def installed_programs(ours):
    programs = [Ours("vsp32" if len(ours) == 1 else "vsp32 %d" % (i + 1), path) for i, path in enumerate(ours)]
    undefined = ["-U" + name for name in (
        "__STDC_VERSION__", "__x86_64__", "__x86_64", "__unix__", "__unix", "unix", "__linux__", "__linux",
        "__LP64__", "__TINYC__", "__LONG_LONG_MAX__")]
    bare = ["-std=gnu89", "-undef", "-nostdinc"]

    def add(name, path, *rest, **named):
        if path and os.path.exists(path):
            programs.append(Program(name, path, *rest, **named))

    gcc = shutil.which("gcc")
    if gcc:
        compiler = subprocess.run([gcc, "-print-prog-name=cc1"], capture_output=True, text=True).stdout.strip()
        add("cc1 -E", compiler, ["-E", "-quiet"], bare, growth=True)
        add("gcc -E", gcc, ["-E"], bare)
    add("clang -E", shutil.which("clang"), ["-E"], bare, growth=True)
    add("tcc", shutil.which("tcc"), ["-E", "-w"], ["-nostdinc"] + undefined)
    add("pcc-cpp", shutil.which("pcc-cpp"), output=None)
    add("sdcpp", shutil.which("sdcpp"), ["-w"], ["-nostdinc"])
    add("mcpp", shutil.which("mcpp"), ["-W0"], ["-N", "-I-", "-U__x86_64__"], output=None)
    add("ucpp", shutil.which("ucpp"), ["-w0"], ["-zI", "-Z"])
    return programs


def run(program, row):
    """Runs a program on each source of a row: seconds of user and system time, or the way in which it failed."""
    user = system = 0.0
    for source in row.sources():
        words, target = program.command(row, source)
        if os.path.exists(target):
            os.unlink(target)
        out = target if isinstance(program, Cat) else os.devnull
        flags = os.O_WRONLY | os.O_CREAT | os.O_TRUNC
        child = os.posix_spawn(words[0], words, ENVIRONMENT, file_actions=[
            (os.POSIX_SPAWN_OPEN, 0, os.devnull, os.O_RDONLY, 0), (os.POSIX_SPAWN_OPEN, 1, out, flags, 0o644),
            (os.POSIX_SPAWN_OPEN, 2, os.devnull, flags, 0)])
        try:
            resource.prlimit(child, resource.RLIMIT_CPU, (CPU_SECONDS, CPU_SECONDS))
        except ProcessLookupError:
            pass  # it has ended already
        _, status, usage = os.wait4(child, 0)
        if status != 0 or not os.path.exists(target):
            too_long = os.WIFSIGNALED(status) and os.WTERMSIG(status) in (signal.SIGXCPU, signal.SIGKILL)
            return "takes more than %d s" % CPU_SECONDS if too_long else "fails"
        user += usage.ru_utime
        system += usage.ru_stime
    return user, system


def output(row):
    return b"".join(read(source[:-1] + "i") for source in row.sources())


def prepare(row, make_source, work):
    """Makes the text of a row and goes into its directory; false if a package is missing."""
    directory = os.path.join(work, row.name)
    os.makedirs(os.path.join(directory, "stubs"))
    os.chdir(directory)
    if row.kind:
        subprocess.run([make_source, row.kind, str(row.size), "."], check=True)
    elif row.name == "windows":
        if not os.path.exists(WINDOWS_HEADERS + "/windows.h"):
            return False
        with open("windows.c", "w") as stream:
            stream.write("#include <windows.h>\n")
        open("stubs/mm_malloc.h", "w").close()  # a header that comes with the compiler
    else:
        if not os.path.exists(DUKTAPE + "/duktape.c"):
            return False
        # Programs differ on the line of a call over several lines; the language leaves it open.
        for name in ("duktape.c", "duktape.h", "duk_config.h"):
            text = re.sub(rb"\b__LINE__\b", b"1", read(DUKTAPE + "/" + name))
            with open(name, "wb") as stream:
                stream.write(re.sub(rb"\b__FILE__\b", b'"f"', text))
        for name in ("windows", "limits", "stdio", "stdlib", "string", "stdarg", "math", "setjmp", "stddef",
                     "stdint", "time"):
            open("stubs/%s.h" % name, "w").close()
    return True


def files_read(text):
    """The files that the markers of cc1's output name."""
    names = dict.fromkeys(re.findall(rb'(?m)^# \d+ "([^"<]+)"', text))
    return [name.decode() for name in names if os.path.isfile(name)]


def measure(row, programs, rounds):
    """Checks and measures a row: samples of each program by name, and remarks on who is left out."""
    remarks, cat = [], Cat()
    expected = tokens(read(row.kind + ".expected")) if row.kind else None
    samples = {}
    # The system's compiler comes first, since its tokens are the measure for real sources.
    for program in sorted(programs, key=lambda program: program.name != "cc1 -E"):
        if row.growth and not program.growth:
            continue
        times = run(program, row)
        if isinstance(times, str):
            remarks.append("%s %s" % (program.name, times))
            continue
        text = output(row)
        found = tokens(text)
        expected = expected or found
        if found != expected:
            remarks.append("%s gets other tokens" % program.name)
            continue
        if program.name == "cc1 -E" and row.kind in (None, "headers"):
            cat.files = files_read(text)
        samples[program] = [times]
    slow = SLOW * min(sum(first) for [first] in samples.values()) if samples else 0
    once = {program.name: times for program, times in samples.items() if sum(times[0]) > slow}
    samples = {program: [] for program in programs + [cat] if program in samples or program is cat and not row.growth}
    for _ in range(min(rounds, GROWTH_ROUNDS) if row.growth else rounds):
        for program, times in samples.items():
            if program.name not in once:
                times.append(run(program, row))
    return {program.name: times or once[program.name] for program, times in samples.items()}, remarks


def ratio(part, whole):
    return "%7.2f" % (part / whole) if whole > 0 else "%7s" % "-"


def report(row, samples, remarks, ours):
    """Prints the lines of a row."""
    unit, scale = ("s", 1) if row.growth else ("ms", 1000)
    cpu = {name: [user + system for user, system in times] for name, times in samples.items()}
    user = {name: statistics.median(time[0] for time in times) for name, times in samples.items()}
    median = {name: statistics.median(times) for name, times in cpu.items()}
    others = [name for name in samples if name not in ours and name != "cat"]
    fastest = min(others, key=median.get, default=None)
    print("%s: %s%s" % (row.name, row.title, "".join("; " + remark for remark in remarks)))
    for name, times in cpu.items():
        line = "  %-12s %-9s %9.*f %2s  (%.*f .. %.*f)" % (
            row.name, name, 2 if scale == 1 else 1, median[name] * scale, unit, 2 if scale == 1 else 1,
            min(times) * scale, 2 if scale == 1 else 1, max(times) * scale)
        line = "%-64s %9.*f" % (line, 2 if scale == 1 else 1, user[name] * scale)
        if fastest:
            line += "   " + ratio(median[name], median[fastest])
            line += " " + ratio(user[name], min(user[other] for other in others))
        if "cat" in median:
            line += "   " + ratio(median[name], median["cat"])
        print(line)
    sys.stdout.flush()


def main():
    parser = argparse.ArgumentParser(prog="bench/compare.sh")
    parser.add_argument("--rounds", type=int, default=7, help="runs of each program (growth rows: at most 3)")
    parser.add_argument("--rows", help="only these rows, with commas between them: "
                        + ",".join(row.name for row in ROWS))
    parser.add_argument("--program", action="append", default=[],
                        help="a build of this program, with switches if you like; give two to compare them")
    parser.add_argument("--install", action="store_true", help="get the other programs first, by compare.sh")
    parser.add_argument("--make-source", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--work", required=True, help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    wanted = arguments.rows.split(",") if arguments.rows else [row.name for row in ROWS]
    unknown = set(wanted) - {row.name for row in ROWS}
    if unknown or arguments.rounds < 1:
        parser.error("unknown row: " + ", ".join(unknown) if unknown else "at least one round")
    programs = installed_programs(arguments.program)
    for program in programs:
        if program.ours:
            print("%s is %s" % (program.name, shlex.join([program.path] + program.switches)))
    print("median of the processor time (least .. most); its user part; both as multiples of the fastest\n"
          "other program's; the time as a multiple of what cat takes for the same input\n")
    print("  %-12s %-9s %12s  %-25s %9s   %7s %7s   %7s" % (
        "text", "program", "user+system", "(least .. most)", "user", "/other", "user", "/cat"))
    agreed = True
    os.makedirs(arguments.work, exist_ok=True)
    work = tempfile.mkdtemp(dir=arguments.work)
    for row in (row for row in ROWS if row.name in wanted):
        if not prepare(row, arguments.make_source, work):
            print("%s: %s; not installed (--install)" % (row.name, row.title))
            continue
        samples, remarks = measure(row, programs, arguments.rounds)
        report(row, samples, remarks, {program.name for program in programs if program.ours})
        agreed = agreed and all(program.name in samples for program in programs if program.ours)
    os.chdir(arguments.work)
    shutil.rmtree(work)
    sys.exit(0 if agreed else 1)


ENVIRONMENT = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "LC_ALL": "C"}

if __name__ == "__main__":
    main()
