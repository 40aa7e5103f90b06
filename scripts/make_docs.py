#!/usr/bin/env python3
"""Writes what is known about the switches in the forms that readers and shells want, from the rows in src:
docs/switches.md, the man page docs/vsp32.1, windows/switches.txt, and the completions of bash, zsh and fish in
completions/.

  scripts/make_docs.py           writes the files
  scripts/make_docs.py --check   compares them, and fails if one differs from its rows
"""
import difflib
import pathlib
import re
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
VERSION = re.search(r"project\(vsp32 VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
STRING = r'"((?:[^"\\]|\\.)*)"'


def unquote(text):
    """The text of the inside of a string literal of C."""
    return text.replace('\\"', '"').replace("\\\\", "\\")


class Switch:
    """A row of switches.def."""

    def __init__(self, group, forms, follows, value, acts, text):
        self.group, self.forms, self.follows = group, forms.split(), follows
        self.value, self.acts, self.text = value, acts, text

    def spelled(self):
        """The forms as a reader sees them, each with what follows."""
        if self.follows == "sign":
            return self.forms + [form + "-" for form in self.forms]
        tail = {"any": "...", "other": "x"}.get(self.follows, self.value)
        if self.follows in ("text", "more") and not self.value:
            tail = "..."
        if self.follows == "package":
            tail = "[RV]"
        return [form + tail for form in self.forms]


def read_switches():
    group, rows = "", []
    for line in (ROOT / "src/options/switches.def").read_text().splitlines():
        if match := re.fullmatch(rf"GROUP\({STRING}\)", line):
            group = unquote(match.group(1))
        elif match := re.fullmatch(rf"SWITCH\({STRING}, (\w+), {STRING}, (\w+), {STRING}\)", line):
            forms, follows, value, effect, text = match.groups()
            rows.append(Switch(group, unquote(forms), follows, unquote(value), effect == "acts", unquote(text)))
        elif line and not line.startswith("//"):
            sys.exit(f"switches.def: not a row: {line}")
    return rows


def read_long_options():
    """(name, value or None, help) of each row of long_options.def."""
    text = (ROOT / "src/options/long_options.def").read_text()
    text = re.sub(r"^\s*//.*$", "", text, flags=re.M)
    rows = []
    for match in re.finditer(rf"LONG\({STRING},\s*(?:nullptr|{STRING}),\s*[\w.]+,\s*((?:{STRING}\s*)+)\)", text):
        parts = re.findall(STRING, match.group(3))
        rows.append((match.group(1), match.group(2), unquote("".join(parts))))
    if len(rows) != len(re.findall(r"\bLONG\(", text)):
        sys.exit("long_options.def: a row is not understood")
    return rows


def read_warnings():
    """(name, number, on by default, text or "") of each warning."""
    texts = {}
    for match in re.finditer(rf"MESSAGE\(\d+, \w+, {STRING}\)", (ROOT / "src/diag/messages.def").read_text()):
        text = unquote(match.group(1))
        if re.match(r"W\d{4} ", text):
            texts[text[1:5]] = text[6:]
    rows = re.findall(r'WARNING\("(\w+)", "(\d+)", (\d)\)', (ROOT / "src/diag/warnings.def").read_text())
    return [(name, number, on == "1", texts.get(number, "")) for name, number, on in rows]


# What the values of a long option may be, for completion. Values of others named FILE are files.
CHOICES = {"messages": ["family", "gnu", "sarif", "sarif:"], "line-markers": ["family", "gnu"]}

ARGUMENTS = [
    ("file", "A source file. `*` and `?` in its name stand for any characters; a name without an extension gets "
             "`.cpp`, or what -P says."),
    ("@file", "The words of this file, in place of the argument. Blanks and line ends part them, quotes keep them "
              "together, and `;` begins a comment."),
    ("+file", "The configuration file, in place of `vsc32.cfg`. It holds switches alone, with blanks or line ends "
              "between, and `;` begins a comment."),
]


# --- docs/switches.md ---

def code(text):
    return f"`{text}`"


def cell(text):
    """Text of a table of Markdown: macros and switches as code, and no bars."""
    text = re.sub(r"(?<![\w`])(__?\w+|#\w+|-[A-Z]\w*|-[a-z](?![\w-]))", r"`\1`", text)
    return text.replace("|", "\\|")


def markdown(switches, long_options, warnings):
    lines = [
        "# All switches of vsp32", "",
        "<!-- Made by scripts/make_docs.py from src/options/*.def and src/diag/*.def. -->", "",
        "    vsp32 [ switches ] file...", "",
        "A switch begins with `-` or `/` and comes before the first file name; a long one, with `--`, may come",
        "anywhere. What a switch sets holds for all files. Of two switches that disagree the later one counts, and",
        "those of the configuration file come before those of the command line. A form that isn't here is refused",
        "with E2075. A switch that a final `-` turns off may also have a final `+`, as in `-K+`.", "",
        "| argument | what it is |", "|---|---|",
    ]
    lines += [f"| {code(name)} | {text} |" for name, text in ARGUMENTS]
    lines += ["", "## Long switches", "", "| switch | what it does |", "|---|---|"]
    for name, value, text in long_options:
        lines.append(f"| {code('--' + name + ('=' + value if value else ''))} | {cell(text)} |")
    group = ""
    for row in switches:
        if row.group != group:
            group = row.group
            lines += ["", f"## {group}", "", "| switch | what it does |", "|---|---|"]
        text = row.text
        if row.follows == "sign":
            text += "" if "default" in text else f"; `{row.forms[0]}-` turns it off"
        if not row.acts and not group.startswith("Switches of the compiler"):
            text += ": accepted without effect"
        forms = ", ".join(code(form) for form in row.spelled())
        lines.append(f"| {forms} | {cell(text)} |".replace("``-``", "`-`"))
    lines += ["", "## Warnings", "",
              "Names and numbers for `-w`. Those without a text are the compiler's: this program never gives them.", "",
              "| name | number | by default | text |", "|---|---|---|---|"]
    for name, number, on, text in warnings:
        lines.append(f"| `{name}` | {number} | {'on' if on else 'off'} | {text.replace('|', chr(92) + '|')} |")
    return "\n".join(lines) + "\n"


# --- docs/vsp32.1 ---

def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("`", "")
    return "\\&" + text if text[:1] in ".'" else text


def man_page(switches, long_options, warnings):
    lines = [
        '.\\" Made by scripts/make_docs.py from src/options/*.def.',
        f'.TH VSP32 1 "" "vsp32 {VERSION}" "User Commands"',
        ".SH NAME", "vsp32 \\- C and C++ preprocessor of a 32-bit Windows compiler family",
        ".SH SYNOPSIS", ".B vsp32", ".RI [ switches ]", ".IR file ...",
        ".SH DESCRIPTION",
        "For each source file, vsp32 writes a file with the extension", ".B .i", "into the current directory: comments",
        "are gone, macros expanded, conditional groups resolved, included files merged, and each line is tied to its",
        "source by a marker. It takes the whole command line and the configuration file of the family's compiler, and",
        "reports as the compiler does. Without an argument it shows its main switches.",
        ".PP",
        "A switch begins with", ".B \\-", "or", ".B /", "and comes before the first file name; a long one may",
        "come anywhere. What a switch sets holds for all files. Of two switches that disagree the later one counts,",
        "and those of the configuration file come before those of the command line.",
        ".SS Arguments",
    ]
    for name, text in ARGUMENTS:
        lines += [".TP", f".I {roff(name)}", roff(text)]
    lines.append(".SS Long switches")
    for name, value, text in long_options:
        argument = f'=" {roff(value)}' if value else '"'
        lines += [".TP", f'.BI "\\-\\-{roff(name)}{argument}', roff(text) + "."]
    group = ""
    for row in switches:
        if not row.acts:
            continue
        if row.group != group:
            group = row.group
            lines.append(f".SS {roff(group)}")
        lines += [".TP", ".B " + roff(", ".join(row.spelled())), roff(row.text) + "."]
    quiet = sorted({form for row in switches if not row.acts and row.group.startswith("Switches of the compiler")
                    for form in row.forms}, key=lambda form: (form.lower(), form))
    lines += [
        ".SS Switches of the compiler", "These have no effect here, with whatever the compiler allows after them:",
        roff(", ".join(quiet)) + ".",
        ".SH MESSAGES",
        "Messages go to standard output, after the name of the file. With", ".BI \\-w xxx", "and", ".BI \\-w\\- xxx",
        "warnings are turned on and off; off by default are",
        roff(", ".join(sorted({name for name, number, on, text in warnings if not on and text}))) + ".",
        ".SH EXIT STATUS",
        "0; 1 if any file failed or a switch was refused; 255 after a break signal.",
        ".SH ENVIRONMENT", ".TP", ".BR LC_ALL \", \" LC_MESSAGES \", \" LANG",
        "The first of these that is set names the language of the messages.",
        ".TP", ".B SOURCE_DATE_EPOCH",
        "Seconds since 1970 began, in universal time, that __DATE__ and __TIME__ show in place of the present time.",
        ".SH FILES", ".TP", ".I vsc32.cfg",
        "Configuration file, in the current directory or, if there is none, in the directory of the program.",
        ".TP", ".I vsp32.DEU", "German texts of all messages, in the directory of the program. Other languages go by",
        "their three letters or the first two.",
        ".TP", ".I ~/.config/vestrel/locales",
        "A line", ".B * = DEU", "chooses a language whatever the environment says.",
        ".PP", "The directory of the program is the one that holds the file itself, after all links are followed.",
        ".SH EXAMPLES", ".nf", "vsp32 \\-q \\-Iinclude \\-DNDEBUG a.c", "vsp32 \\-q \\-P\\- \\-nout @switches src/*.c",
        "vsp32 \\-q \\-\\-deps=a.d a.c", ".fi",
        ".SH SEE ALSO", "The files", ".I switches.md", "and", ".I guide.md", "of the package.",
    ]
    return "\n".join(lines) + "\n"


# --- windows/switches.txt ---

def plain(switches, long_options, warnings):
    title = f"The switches of VSP32 {VERSION}"
    lines = [title, "=" * len(title)]

    def add_group(name):
        lines.extend(["", "", name.upper(), "-" * len(name), ""])

    def add_row(forms, text):
        lines.extend(textwrap.wrap(forms, 100, initial_indent="  ", subsequent_indent="  ", break_on_hyphens=False))
        lines.extend(textwrap.wrap(text + ".", 100, initial_indent="      ", subsequent_indent="      ",
                                   break_on_hyphens=False))

    add_group("Arguments")
    for name, text in ARGUMENTS:
        add_row(name, text.replace("`", "").rstrip("."))
    add_group("Long switches, anywhere among the arguments")
    for name, value, text in long_options:
        add_row(f"--{name}" + (f"={value}" if value else ""), text)
    group = ""
    for row in switches:
        if row.group != group:
            group = row.group
            add_group(group)
        add_row("  ".join(row.spelled()), row.text)
    add_group("Warnings for -w")
    for name, number, on, text in warnings:
        if text:
            lines.append(f"  {name} {number} {'on ' if on else 'off'}  {text}")
    return "\n".join(lines) + "\n"


# --- Completions ---

def completion_words(switches):
    """(form, value, text) of each switch that acts; the value is "" for a form that is complete."""
    for row in switches:
        if not row.acts:
            continue
        for form in row.forms:
            if row.follows in ("text", "number", "limit", "length", "warning", "extension"):
                yield form, row.value, row.text
            elif row.follows == "runtime":
                continue
            else:
                yield form, "", row.text


def value_kind(form, value):
    if value.startswith("dir"):
        return "directory"
    return "file" if value == "file" else "warning" if value == "xxx" else "other"


BASH = """\
# Completion of vsp32's switches in bash. Made by scripts/make_docs.py.
_vsp32() {
  local line=${COMP_LINE:0:COMP_POINT} word prefix value names=() kept i
  # The whole word: bash takes it apart at '=' and ':'.
  word=${line##*[[:space:]]}
  COMPREPLY=()
  case $word in
%CASES%
  -w[a-z]* | -w+* | -w-[a-z]*)
    prefix=${word%%[a-z0-9]*}
    [[ $word == -w[a-z]* ]] && prefix=-w
    [[ $word == -w[+-]* ]] && prefix=${word:0:3}
    mapfile -t names < <(compgen -P "$prefix" -W "%WARNINGS%" -- "${word#"$prefix"}")
    ;;
  -*)
    mapfile -t names < <(compgen -W "%WORDS%" -- "$word")
    compopt -o nospace
    if [ "${#names[@]}" = 1 ] && [[ " %COMPLETE% " == *" ${names[0]} "* ]]; then names=("${names[0]} "); fi
    ;;
  [@+]*)
    mapfile -t names < <(compgen -P "${word:0:1}" -f -- "${word:1}")
    ;;
  *)
    compopt -o filenames
    mapfile -t names < <(compgen -f -- "$word")
    ;;
  esac
  # Bash replaces only what follows the last character at which it splits words.
  kept=${word%"${word##*["$COMP_WORDBREAKS"]}"}
  for i in "${!names[@]}"; do COMPREPLY[i]=${names[i]#"$kept"}; done
}
complete -F _vsp32 vsp32
"""


def bash(switches, long_options, warnings):
    cases = []
    words, complete = [], []
    for form, value, _ in completion_words(switches):
        kind = value_kind(form, value)
        if kind in ("directory", "file"):
            flag = "-d -S /" if kind == "directory" else "-f"
            space = "\n    compopt -o nospace" if kind == "directory" else ""
            cases.append(f"  {form}?*)\n    mapfile -t names < <(compgen -P {form} {flag} -- \"${{word#{form}}}\"){space}\n    ;;")
        if form not in words:
            words.append(form)
            if not value:
                complete.append(form)
    for name, value, _ in long_options:
        words.append(f"--{name}" + ("=" if value else ""))
        if not value:
            complete.append(f"--{name}")
            continue
        wanted = f'-W "{" ".join(CHOICES[name])}"' if name in CHOICES else "-f" if value in ("FILE", "NAME") else ""
        if wanted:
            cases.append(f"  --{name}=*)\n    mapfile -t names < <(compgen -P --{name}= {wanted} -- \"${{word#--{name}=}}\")\n    ;;")
    names = sorted({name for name, _, _, text in warnings if text})
    return (BASH.replace("%CASES%", "\n".join(cases)).replace("%WARNINGS%", " ".join(names))
            .replace("%WORDS%", " ".join(words)).replace("%COMPLETE%", " ".join(complete)))


def zsh_form(form):
    """A form as the name of an option, in which these three mean something at the end."""
    return zsh_text(re.sub(r"[-+=]$", lambda match: "\0" + match.group(), form)).replace("\0", "\\")


def zsh_text(text):
    return re.sub(r"([\[\]:\\])", r"\\\1", text).replace("'", "'\\''")


def zsh(switches, long_options, warnings):
    lines = ["#compdef vsp32", "# Completion of vsp32's switches in zsh. Made by scripts/make_docs.py.",
             "_arguments \\"]
    actions = {"directory": "_files -/", "file": "_files", "other": " "}
    names = sorted({name for name, _, _, text in warnings if text})
    actions["warning"] = "(" + " ".join(names + ["-" + name for name in names]) + ")"
    valued = {form for form, value, _ in completion_words(switches) if value and (value != "xxx" or form == "-w")}
    seen = set()
    for form, value, text in completion_words(switches):
        # What follows "-w-" is offered as what follows "-w".
        if form in seen or (value == "xxx" and form != "-w"):
            continue
        # A form that is complete and may also go on has one row, with what may follow as optional.
        seen.add(form)
        spec = zsh_form(form)
        if form in valued:
            shown = value or next(v for f, v, _ in completion_words(switches) if f == form and v)
            colon = "::" if any(f == form and not v for f, v, _ in completion_words(switches)) else ":"
            lines.append(f"  '*{spec}-[{zsh_text(text)}]{colon}{zsh_text(shown)}:{actions[value_kind(form, shown)]}' \\")
        else:
            lines.append(f"  '*{spec}[{zsh_text(text)}]' \\")
    for name, value, text in long_options:
        if value:
            action = f"({' '.join(CHOICES[name])})" if name in CHOICES else "_files" if value in ("FILE", "NAME") else " "
            action = action.replace(":", "\\:")
            lines.append(f"  '--{name}=[{zsh_text(text)}]:{value}:{action}' \\")
        else:
            lines.append(f"  '--{name}[{zsh_text(text)}]' \\")
    lines.append("  '*:source file:_files'")
    return "\n".join(lines) + "\n"


def fish_text(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


FISH = """\
# Completion of vsp32's switches in fish. Made by scripts/make_docs.py.
function __vsp32_switches
    set -l word (commandline -ct)
    switch $word
        case %DIRECTORIES%
            for name in (__fish_complete_directories (string sub -s 3 -- $word))
                echo (string sub -l 2 -- $word)$name
            end
        case %FILES%
            for name in (__fish_complete_path (string sub -s 3 -- $word))
                echo (string sub -l 2 -- $word)$name
            end
        case '-w?*'
            set -l sign (string match -r -- '^-w[-+]?' $word)
            for name in %WARNINGS%
                echo $sign$name
            end
        case '--*'
        case '*'
%WORDS%
    end
end
complete -c vsp32 -n 'string match -q -- "-*" (commandline -ct)' -a '(__vsp32_switches)'
"""


def fish(switches, long_options, warnings):
    names = sorted({name for name, _, _, text in warnings if text})
    words, seen = [], set()
    attached = {"directory": [], "file": []}
    for form, value, text in completion_words(switches):
        if value_kind(form, value) in attached:
            attached[value_kind(form, value)].append(f"'{form}?*'")
        if form not in seen:
            seen.add(form)
            words.append(f"            printf '%s\\t%s\\n' {fish_text(form)} {fish_text(text)}")
    text = (FISH.replace("%DIRECTORIES%", " ".join(attached["directory"])).replace("%FILES%", " ".join(attached["file"]))
            .replace("%WARNINGS%", " ".join(names)).replace("%WORDS%", "\n".join(words)))
    for name, value, help_text in long_options:
        action = ""
        if name in CHOICES:
            action = f" -x -a '{' '.join(CHOICES[name])}'"
        elif value:
            action = " -r -F" if value in ("FILE", "NAME") else " -x"
        text += f"complete -c vsp32 -l {name}{action} -d {fish_text(help_text)}\n"
    return text


def main():
    rows = read_switches(), read_long_options(), read_warnings()
    files = {"docs/switches.md": markdown, "docs/vsp32.1": man_page, "windows/switches.txt": plain,
             "completions/vsp32.bash": bash, "completions/_vsp32": zsh, "completions/vsp32.fish": fish}
    if sys.argv[1:] not in ([], ["--check"]):
        sys.exit(__doc__)
    differs = False
    for name, make in files.items():
        path, text = ROOT / name, make(*rows)
        if not sys.argv[1:]:
            path.parent.mkdir(exist_ok=True)
            path.write_text(text)
            continue
        found = path.read_text() if path.exists() else ""
        if found != text:
            differs = True
            print(f"{name} differs from its rows; scripts/make_docs.py updates it:")
            print("\n".join(list(difflib.unified_diff(found.splitlines(), text.splitlines(), lineterm=""))[:20]))
    sys.exit(1 if differs else 0)


main()
