// What a user is shown of a run: messages in the forms that other tools read, the trace, the graph of
// includes and the history of a macro. Other tools judge where that is possible: a schema, Graphviz, the
// editors. Where one isn't installed, its test says so and is skipped.

#include <sys/resource.h>

#include "check.h"
#include "paths/make_program.h"

namespace {

namespace fs = std::filesystem;

#define NEEDS(tool) \
  if (!hasTool(tool)) GTEST_SKIP() << tool << " is not installed"

// A file of the source tree, quoted for the shell.
std::string source(const std::string& name) {
  return "'" + std::string(VSP_SOURCE_DIR) + "/" + name + "'";
}

class Seeing : public ScratchTest {
 protected:
  // What a command of the shell prints, with its exit status in front if that isn't 0.
  std::string printedBy(const std::string& command) const {
    const ShellResult result = shell(command);
    return (result.status == 0 ? "" : "status " + std::to_string(result.status) + "\n") + result.text;
  }

  // What a Python program of this test prints.
  std::string python(const std::string& program, const std::string& arguments) const {
    return printedBy("python3 " + source("tests/seeing/" + program) + " " + arguments);
  }

  // Two units that share a guarded header, with messages of all kinds.
  void writeProject() const {
    file("a.c", "#include \"inc/h.h\"\n#include <none.h>\n#foo\n#define A 1\n#define A 2\n");
    file("b.c", "#include \"inc/h.h\"\n#include \"inc/h.h\"\n#include \"INC\\H.H\"\nint b;");
    file("inc/h.h", "#ifndef H_H\n#define H_H\n#include \"./plain.h\"\n#include \"plain.h\"\n#endif\n");
    file("inc/plain.h", "int plain;\r\n");
  }
};

// --- Messages ---

using Messages = Seeing;

TEST_F(Messages, GnuForm) {
  writeProject();
  file("inc/deep.h", "#line 0\n#endif\n");
  file("inc/self.h", "#include \"self.h\"\n");
  file("c.c", "#include \"INC\\deep.H\"\n#include \"inc/self.h\"\n");
  const RunResult result = runWith({"--messages=gnu", "none.c", "a.c", "c.c"});
  EXPECT_EQ(
      "vsp32: error: Could not find file 'none.c' [E2194]\n"
      "a.c:\n"
      "a.c:2: error: Unable to open include file 'none.h' [E2209]\n"
      "a.c:3: error: Unknown preprocessor directive: 'foo' [E2048]\n"
      "a.c:5: warning: Redefinition of 'A' is not identical [W8017]\n"
      "*** 2 errors in Compile ***\n"
      "c.c:\n"
      "inc/deep.h: error: Misplaced endif directive [E2056]\n"
      "inc/self.h:1: fatal error: Include files nested too deep [F1005]\n"
      "*** 2 errors in Compile ***\n",
      result.out);
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("", result.err);
}

// What goes wrong before the switches are known has the form already.
TEST_F(Messages, GnuFormFromTheStart) {
  EXPECT_EQ("vsp32: error: Could not find file 'none.rsp' [E2194]\n",
            runWith({"@none.rsp", "--messages=gnu"}).out);
  EXPECT_EQ("vsp32: error: Incorrect command line option: --jobs=x [E2075]\n",
            runWith({"--jobs=x", "--messages=gnu"}).out);
}

TEST_F(Messages, SarifLog) {
  NEEDS("python3");
  writeProject();
  file("ok.c", "int ok;\n");
  // A name and texts of bytes that are no UTF-8, and such as mean something in JSON and in URIs.
  file("sub/d \xE4%\"\xC3\xA4.c", "#foo\xE4\n#\"\n\x01\n#error\n#line 0\n#include \"\xED\xA0\x80\\\t.h\"\n");
  file("c.c", "#line 7 \"C:\\x\\y.h\"\n#foo\n#line 8 \"\\\\host/z.h\"\n#foo\n#line 9 \"/r/z.h\"\n#foo\n");
  const std::string expected =
      "error E2209 a.c:2 \"Unable to open include file 'none.h'\"\n"
      "error E2048 a.c:3 \"Unknown preprocessor directive: 'foo'\"\n"
      "warning W8017 a.c:5 \"Redefinition of 'A' is not identical\"\n";
  const std::string rules =
      "E2048 error True Unknown preprocessor directive: '...'\n"
      "W8017 warning True Redefinition of '...' is not identical\n"
      "W8084 warning False Suggest parentheses to clarify precedence\n";
  const auto log = [&] { return python("check_json.py", "sarif log.sarif"); };
  const RunResult result = runWith({"ok.c", "a.c", "--messages=sarif:log.sarif"});
  EXPECT_EQ(expected + "failed\n" + rules, log());
  // The messages are printed as well.
  EXPECT_EQ(messagesOf(runWith({"ok.c", "a.c"}).out), messagesOf(result.out));
  EXPECT_EQ("", result.err);

  // Without a file it goes to standard error, the messages still to standard output.
  const RunResult toError = runWith({"a.c", "--messages=sarif"});
  file("log.sarif", toError.err);
  EXPECT_EQ(expected + "failed\n" + rules, log());
  EXPECT_EQ(runWith({"a.c"}).out, toError.out);

  // A run without messages has a log without results.
  EXPECT_EQ(0, runWith({"--messages=sarif:log.sarif", "ok.c"}).status);
  EXPECT_EQ("succeeded\n" + rules, log());

  runWith({"--messages=sarif:log.sarif", "sub/d*.c", "c.c", "none.c"});
  EXPECT_EQ(
      "error E2048 sub/d%20%E4%25%22%C3%A4.c:1 \"Unknown preprocessor directive: 'foo'\"\n"
      "error E2048 sub/d%20%E4%25%22%C3%A4.c:2 \"Unknown preprocessor directive: ''\"\n"
      "error E2206 sub/d%20%E4%25%22%C3%A4.c:3 \"Illegal character '\\u0001' (0x1)\"\n"
      "error E2209 sub/d%20%E4%25%22%C3%A4.c \"Unable to open include file "
      "'\\u00ed\\u00a0\\u0080\\\\\\t.h'\"\n"
      "error E2048 file:///x/y.h:7 \"Unknown preprocessor directive: 'foo'\"\n"
      "error E2048 file://host/z.h:8 \"Unknown preprocessor directive: 'foo'\"\n"
      "error E2048 file:///r/z.h:9 \"Unknown preprocessor directive: 'foo'\"\n"
      "error E2194 - \"Could not find file 'none.c'\"\nfailed\n" +
          rules,
      log());
}

TEST_F(Messages, SarifLogFitsTheSchema) {
  NEEDS("python3");
  writeProject();
  file("sub/d \xE4%.c", "#foo\xE4\n#line 0\n#include \"\xED\xA0\x80\\\t.h\"\n#line 3 \"C:\\x.h\"\n#foo\n");
  runWith({"--messages=sarif:log.sarif", "a.c", "sub/*.c", "none.c"});
  const std::string said =
      python("check_json.py", "schema log.sarif " + source("tests/seeing/sarif_schema.json"));
  if (said.starts_with("status 77")) GTEST_SKIP() << "Python has no jsonschema";
  EXPECT_EQ("", said);
}

// --- Editors ---

// Messages as the program gives them, in a file of their own; and what an editor should make of them.
class Editors : public Seeing {
 protected:
  void SetUp() override {
    file("my file 2.c",
         "#include \"sub/h.h\"\n#foo 7: x\n#include \"none 1: x.h\"\n#define A 1\n#define A 2\n");
    file("sub/h.h", "#endif\n");
    file("messages", runWith({"my file 2.c", "none.c"}).out);
  }
};

const char* const expectedInEditor =
    "sub/h.h|1|error|E2056|Misplaced endif directive\n"
    "my file 2.c|2|error|E2048|Unknown preprocessor directive: 'foo'\n"
    "my file 2.c|3|error|E2209|Unable to open include file 'none 1: x.h'\n"
    "my file 2.c|5|warning|W8017|Redefinition of 'A' is not identical\n";

TEST_F(Editors, VisualStudioCode) {
  NEEDS("python3");
  EXPECT_EQ(expectedInEditor, python("check_matcher.py", source("editors/vscode/tasks.json") + " messages"));
}

TEST_F(Editors, Vim) {
  NEEDS("vim");
  EXPECT_EQ(
      "", printedBy("vim -u NONE -i NONE -N -es -c 'set nomore' -c 'command -nargs=1 CompilerSet set <args>' "
                    "-c 'source '" +
                    source("editors/vim/compiler/vsp32.vim") + " -c 'cgetfile messages' -c 'source '" +
                    source("tests/seeing/list.vim") + " -c 'qall!' </dev/null"));
  EXPECT_EQ(
      "sub/h.h|1|E|2056|Misplaced endif directive\n"
      "my file 2.c|2|E|2048|Unknown preprocessor directive: 'foo'\n"
      "my file 2.c|3|E|2209|Unable to open include file 'none 1: x.h'\n"
      "my file 2.c|5|W|8017|Redefinition of 'A' is not identical\n"
      "|0|E|2194|Could not find file 'none.c'\n",
      text("list"));
}

TEST_F(Editors, Emacs) {
  NEEDS("emacs");
  EXPECT_EQ("sub/h.h|1|2\nmy file 2.c|2|2\nmy file 2.c|3|2\nmy file 2.c|5|1\n",
            printedBy("emacs --batch -Q -l " + source("editors/emacs/vsp32.el") + " -l " +
                      source("tests/seeing/list.el")));
}

// --- The trace ---

TEST_F(Seeing, Trace) {
  NEEDS("python3");
  writeProject();
  file("n\xE4\"\x01.c", "int n;\n");
  EXPECT_EQ(1, runWith({"--trace=t.json", "a.c", "b.c", "n*.c"}).status);
  EXPECT_EQ(
      "1 \"a.c\" [unit] bytes=66 failed=True lines=5 messages=3\n"
      "1   \"inc/h.h\" [include] bytes=71 guarded=True lines=5\n"
      "1     \"inc/./plain.h\" [include] bytes=12 lines=1\n"
      "1     \"inc/plain.h\" [include] bytes=12 lines=1\n"
      "2 \"b.c\" [unit] bytes=63 lines=4 messages=0\n"
      "2   \"inc/h.h\" [include] bytes=71 guarded=True lines=5\n"
      "2     \"inc/./plain.h\" [include] bytes=12 lines=1\n"
      "2     \"inc/plain.h\" [include] bytes=12 lines=1\n"
      "2   \"inc/h.h\" [skipped by its guard] line=2\n"
      "2   \"inc/h.h\" [include] bytes=71 guarded=True lines=5\n"
      "3 \"n\\u00e4\\\"\\u0001.c\" [unit] bytes=7 lines=1 messages=0\n",
      python("check_json.py", "trace t.json"));
}

// --- The graph ---

TEST_F(Seeing, IncludeGraph) {
  writeProject();
  file("q\"\xE4.c", "#include \"INC/PLAIN.h\"\n");
  runWith({"--include-graph=g.dot", "a.c", "b.c", "q*.c", "inc/plain.h"});
  EXPECT_EQ(
      "strict digraph includes {\n"
      "  rankdir=LR;\n"
      "  node [shape=ellipse];\n"
      "  \"a.c\" [label=\"a.c\\n66 bytes, 5 lines\", shape=box, style=bold];\n"
      "  \"b.c\" [label=\"b.c\\n63 bytes, 4 lines\", shape=box, style=bold];\n"
      "  \"inc/h.h\" [label=\"inc/h.h\\n71 bytes, 5 lines\", peripheries=2];\n"
      "  \"inc/plain.h\" [label=\"inc/plain.h\\n12 bytes, 1 line\", shape=box, style=bold];\n"
      "  \"q\\\"\xC3\xA4.c\" [label=\"q\\\"\xC3\xA4.c\\n23 bytes, 1 line\", shape=box, style=bold];\n"
      "  \"a.c\" -> \"inc/h.h\";\n"
      "  \"b.c\" -> \"inc/h.h\" [label=\"read 2, skipped 1\"];\n"
      "  \"inc/h.h\" -> \"inc/plain.h\" [label=\"read 4\"];\n"
      "  \"q\\\"\xC3\xA4.c\" -> \"inc/plain.h\";\n"
      "}\n",
      text("g.dot"));
  NEEDS("dot");
  const std::string plain = printedBy("dot -Tplain g.dot");
  size_t nodes = 0, edges = 0;
  for (const std::string& line : splitLines(plain)) {
    nodes += line.starts_with("node ");
    edges += line.starts_with("edge ");
  }
  EXPECT_EQ(5U, nodes) << plain;
  EXPECT_EQ(4U, edges) << plain;
}

// Units that run side by side give the same reports, in the order of the units.
TEST_F(Seeing, ReportsOfUnitsSideBySide) {
  NEEDS("python3");
  writeProject();
  std::vector<std::string> sources = {"a.c", "b.c"};
  for (int i = 0; i < 9; i++) {
    sources.push_back("u" + std::to_string(i) + ".c");
    file(sources.back(), "#include \"inc/h.h\"\n#foo" + std::to_string(i) + "\nH_H\n");
  }
  const auto reports = [&](const std::string& jobs) {
    std::vector<std::string> arguments = {"--jobs=" + jobs, "--trace=t.json", "--include-graph=g.dot",
                                          "--messages=sarif:log.sarif", "--explain=H_H"};
    arguments.insert(arguments.end(), sources.begin(), sources.end());
    const RunResult result = runWith(arguments);
    EXPECT_EQ(1, result.status);
    return result.out + result.err + text("g.dot") + text("log.sarif") +
           python("check_json.py", "trace t.json");
  };
  const std::string expected = reports("1");
  EXPECT_EQ(expected, reports("4"));
  EXPECT_NE(std::string::npos, expected.find("11 \"u8.c\" [unit]")) << expected;
}

// A report that can't be written, or whose name belongs to a file that was read.
TEST_F(Seeing, ReportsThatFail) {
  writeProject();
  const std::string before = text("b.c");
  for (const std::string option : {"trace", "include-graph", "messages=sarif:"}) {
    const auto with = [&](const std::string& name) {
      const std::string separator = option.ends_with(':') ? "" : "=";
      const RunResult result = runWith({"--" + option + separator + name, "b.c"});
      EXPECT_EQ(1, result.status);
      return messagesOf(result.out);
    };
    EXPECT_EQ("Fatal F1002: Unable to create output file 'none/x'\n", with("none/x")) << option;
    EXPECT_EQ("Fatal F1002: Unable to create output file 'b.c'\n", with("b.c")) << option;
    EXPECT_EQ(before, text("b.c")) << option;
  }
}

// Streams that take nothing: the status tells, and the other stream as far as it can.
TEST_F(Seeing, FullStreams) {
  const auto toFull = [](int stream) {
    return [stream] {
      const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
      dup2(full, stream);
    };
  };
  writeProject();
  setup_.inChild = toFull(1);
  RunResult result = runWith({"--messages=gnu", "b.c"});
  EXPECT_EQ("vsp32: error: Error writing output file [F1013]\n", result.err);
  EXPECT_EQ(1, result.status);
  setup_.inChild = toFull(2);
  result = runWith({"--messages=sarif", "b.c"});
  EXPECT_EQ("Error F1013: Error writing output file\n", messagesOf(result.out));
  EXPECT_EQ(1, result.status);
  result = runWith({"--explain=H_H", "b.c"});
  EXPECT_EQ("Error F1013 inc/h.h 1: Error writing output file\n", messagesOf(result.out));
  EXPECT_EQ(1, result.status);
  EXPECT_EQ(std::vector<std::string>(), outputsIn(scratch_.path()));
}

// --- The history of a macro ---

class Explain : public Seeing {
 protected:
  // The lines on `name`, for the file a.c with this text.
  std::string explain(const std::string& name, const std::string& unit) {
    file("a.c", unit);
    return runWith({"-Sk", "-DGIVEN=1;OTHER", "--explain=" + name, "a.c"}).err;
  }
};

TEST_F(Explain, Definitions) {
  file("h.h", "#ifndef H_H\n#define H_H\n#define A 2 /**/ +  1\n#endif\n");
  EXPECT_EQ(
      "a.c: the macro A\n"
      "  a.c:1: #ifdef A: not defined\n"
      "  a.c:3: A counts as 0, like every name that is left in a condition\n"
      "  h.h:3: A defined as 2 + 1\n"
      "  a.c:6: defined A: defined as 2 + 1 from h.h:3\n"
      "  a.c:8: A defined as 2 + 1 (as it was: 2 + 1 from h.h:3)\n"
      "  a.c:9: A defined as nothing (was 2 + 1 from h.h:3)\n"
      "  a.c:10: #ifndef A: defined as nothing from a.c:9\n"
      "  a.c:12: A undefined (was nothing from a.c:9)\n"
      "  a.c:13: A undefined, and was no macro\n"
      "  a.c:14: A(x,y) defined as x ## y #x y\n"
      "  a.c:15: A() defined as 1 (was (x,y) x ## y #x y from a.c:14)\n",
      explain("A",
              "#ifdef A\n#endif\n#if A + 1 == 0\n#endif\n#include \"H.H\"\n#if !defined(A)\n#endif\n"
              "#define A 2  + 1\n#define A\n#ifndef A\n#endif\n#undef A\n#undef A\n"
              "#define A(x, y) x##y #x y\n#define A() 1\n"));
  EXPECT_EQ(
      "a.c: the macro H_H\n  h.h:1: #ifndef H_H: not defined\n  h.h:2: H_H defined as nothing\n"
      "  a.c:2: h.h is not read again: its guard H_H is defined\n",
      explain("H_H", "#include \"h.h\"\n#include \"h.h\"\n"));
  EXPECT_EQ(
      "a.c: the macro GIVEN\n  command line: GIVEN defined as 1\n"
      "  a.c:1: GIVEN defined as 2 (was 1 from the command line)\n",
      explain("GIVEN", "#define GIVEN 2\n"));
  EXPECT_EQ(
      "a.c: the macro __WIN32__\n  predefined: __WIN32__ defined as 1\n"
      "  a.c:1: __WIN32__ expands to 1 (from the program)\n",
      explain("__WIN32__", "__WIN32__\n"));
  EXPECT_EQ("a.c: the macro NONE is neither defined nor asked for\n", explain("NONE", "NONE\n"));
}

TEST_F(Explain, Uses) {
  const std::string head =
      "#define A 1\n#define NEG -A\n#define F(x, y) x+y A \"A\"\n#define STR(x) #x\n#define CAT(x, y) x##y\n"
      "#define G() A\n#define R R + CAT(R, x) STR(R) f(R)\n#define OPEN (A\n";
  const auto uses = [&](const std::string& name, const std::string& line) {
    std::string lines = explain(name, head + line + "\n");
    const size_t start = lines.find("  a.c:9: ");
    return start == std::string::npos ? lines : lines.substr(start);
  };
  EXPECT_EQ("  a.c:9: NEG expands to -1 (from a.c:2)\n", uses("NEG", "- NEG"));
  EXPECT_EQ("  a.c:9: A expands to 1 (from a.c:1), in the text of NEG\n", uses("A", "NEG"));
  // The call inside is expanded first.
  EXPECT_EQ(
      "  a.c:9: F(NEG, (2,A)) expands to -1+(2,1) 1 \"A\" (from a.c:3)\n"
      "  a.c:11: F(1, 2) expands to 1+2 1 \"A\" (from a.c:3), in an argument\n"
      "  a.c:11: F(F(1,2), \"x\\\"y\") expands to 1+2 1 \"A\"+\"x\\\"y\" 1 \"A\" (from a.c:3)\n",
      uses("F", "F(NEG,\n (2,A)) // over two lines\nF(F(1,2),\"x\\\"y\")"));
  EXPECT_EQ("  a.c:9: G is not followed by '(', and stands (from a.c:6)\n", uses("G", "G;"));
  EXPECT_EQ("  a.c:9: G() expands to 1 (from a.c:6)\n", uses("G", "G ( ) ;"));
  EXPECT_EQ("  a.c:9: STR has a wrong number of arguments, and becomes nothing (from a.c:4)\n",
            uses("STR", "STR(1,2)"));
  EXPECT_EQ("  a.c:9: R expands to R + Rx \"R\" f(R) (from a.c:7); R in it is not expanded again\n",
            uses("R", "R"));
  EXPECT_EQ("  a.c:9: OPEN expands to (1 (from a.c:8)\n", uses("OPEN", "OPEN)"));
  EXPECT_EQ("  a.c:9: NEG expands to -1 (from a.c:2), in a directive\n", uses("NEG", "#if NEG\n#endif"));
  EXPECT_EQ("  a.c:9: __LINE__ stands for 9\n  a.c:10: __LINE__ stands for 10, in an argument\n",
            uses("__LINE__", "__LINE__\nSTR(1)F(__LINE__,2)").substr(0, 200));
  EXPECT_EQ("  a.c:9: __FILE__ stands for \"a.c\"\n", uses("__FILE__", "__FILE__"));
  // What the ends of texts keep apart, in the output and so here.
  EXPECT_EQ(
      "  a.c:9: B(x) defined as -x NEG-NEG+x\n"
      "  a.c:10: B(-1) expands to --1 -1- -1+-1 (from a.c:9)\n",
      uses("B", "#define B(x) -x NEG-NEG+x\nB(-1)"));
  // What a trial meets is told when the call itself meets it.
  EXPECT_EQ(
      "  a.c:9: Q defined as defined Q\n"
      "  a.c:10: Q expands to 0 (from a.c:9), in a directive\n"
      "  a.c:10: defined Q: not defined\n",
      uses("Q", "#define Q defined Q\n#line Q"));
  // Text of a directive is copied, backslashes too.
  EXPECT_EQ("  a.c:10: P expands to <no\\file.h> (from a.c:9), in a directive\n",
            uses("P", "#define P <no\\file.h>\n#include P").substr(34));
}

// A unit that a fatal error ends in the midst of everything, and what the next one is told.
TEST_F(Explain, AfterAFatalError) {
  file("b.c", "#define A 2\nA\n");
  file("a.c", "#define A 1\nA\n#include \"b.c\"\n#define A 3\n#define F(x) A\nF(\n#endif\n");
  const RunResult result = runWith({"-j1", "--explain=A", "a.c", "b.c"});
  EXPECT_EQ(
      "a.c: the macro A\n  a.c:1: A defined as 1\n  a.c:2: A expands to 1 (from a.c:1)\n"
      "  b.c:1: A defined as 2 (was 1 from a.c:1)\n  b.c:2: A expands to 2 (from b.c:1)\n"
      "  a.c:4: A defined as 3 (was 2 from b.c:1)\n"
      "b.c: the macro A\n  b.c:1: A defined as 2\n  b.c:2: A expands to 2 (from b.c:1)\n",
      result.err);
  EXPECT_EQ(1, result.status);
}

// The explanation of a use is the very text of the output.
TEST_F(Explain, TextIsThatOfTheOutput) {
  const std::string definitions =
      "#define A -1\n#define B A-A -A\n#define C(p) -p+p A##p #p p 'x' L\"w\" 1.5 x/**/y\n"
      "#define D(p,q) p##q<q>p&&C(p) p q.q ->1\n#define E\n#define G() C(E)E\n#define H C\n";
  for (const std::string use : {"A", "B", "C(1)", "C(A)", "D(a,1)", "D(B,-)", "D(,)", "G()", "E", "H",
                                "C(D(C(2),B))", "D(\"a\\\\\\\"\", 'c')"}) {
    file("a.c", definitions + "; " + use + ";\n");
    const std::string name = use.substr(0, 1);
    const RunResult result = runWith({"-P-", "-Sk", "--explain=" + name, "a.c"});
    std::string output = text("a.i");
    output = output.substr(output.find(';') + 1, output.rfind(';') - output.find(';') - 1);
    const std::vector<std::string> lines = splitLines(result.err);
    std::string told = lines.empty() ? "" : lines.back();
    told = told.substr(0, told.rfind(" (from a.c:"));
    const std::string head = " expands to ";
    told.erase(0, told.find(head) + head.size());
    // A run of blanks is one, and none stands at the ends.
    const auto isPair = [](char a, char b) { return a == ' ' && b == ' '; };
    output.erase(std::unique(output.begin(), output.end(), isPair), output.end());
    output.erase(0, output.find_first_not_of(' '));
    output.erase(output.find_last_not_of(' ') + 1);
    EXPECT_EQ(output.empty() ? "nothing" : output, told) << use << "\n" << result.err;
  }
}

// What a trial of the call could leave behind.
TEST_F(Explain, ChangesNothingInCorners) {
  file("a.c",
       "#define X(p) y p\n#define N F(F(F(F(1))))\n#define F(p) X(p)\n"
       // A prefix that waits for the next number, and a text that a comment leaves unfinished.
       "#if L'a'\n#endif\nX(7) 5\nOPEN b\n*/ c\nd\n"
       // A line end in an argument, after which a directive stands.
       "#if 1\nTAKEN\n#else\n#endif\n"
       // A call that goes on after the end of its text, and one that ends with the file.
       "CALL (1) e\nF(\n#line 7 \"n\"\nX(2\n)\n) f\nX(3\n");
  for (const char* const name : {"X", "N", "F", "OPEN", "TAKEN", "CALL"}) {
    for (const char* const form : {"-P", "-P-", "-Sr", "-Sd", "-Sc", "-A", "--line-markers=gnu", "-ocon"}) {
      std::vector<std::string> arguments = {
          "-DOPEN=a/*", "-DTAKEN=F(\x81\n#endif\n)", "-DCALL=F", "-CP932", "-Sk", form, "a.c"};
      const std::string printed = runWith(arguments).out;
      const std::string output = text("a.i");
      arguments.push_back(std::string("--explain=") + name);
      const RunResult result = runWith(arguments);
      EXPECT_EQ(printed, result.out) << name << " " << form;
      EXPECT_EQ(output, text("a.i")) << name << " " << form;
      EXPECT_NE(std::string::npos, result.err.find(" defined as ")) << result.err;
    }
  }
}

// A trial that overflows the stack ends as the call itself would, and the next unit is whole.
TEST_F(Explain, AfterATrialThatFails) {
  std::string deep;
  for (int i = 0; i < 4000; i++) deep += "F(";
  file("a.c", "#define F(p) p\n#define DEEP " + deep + std::string(4000, ')') +
                  "\n#define E 1\n#define E 2\nDEEP\n");
  file("b.c", "#define E 1\n#define E 2\n#define DEEP 3\nDEEP\n");
  setup_.inChild = [] {
    const rlimit small = {256 * 1024, 256 * 1024};
    setrlimit(RLIMIT_STACK, &small);
  };
  const std::string expected = runWith({"-P-", "a.c", "b.c"}).out;
  const std::string output = text("b.i");
  EXPECT_NE(std::string::npos, expected.find("Fatal F1008 a.c 5: Out of memory\n")) << expected;
  const RunResult result = runWith({"-P-", "--explain=DEEP", "a.c", "b.c"});
  EXPECT_EQ(expected, result.out);
  EXPECT_EQ(output, text("b.i"));
  EXPECT_TRUE(result.err.ends_with("  b.c:4: DEEP expands to 3 (from b.c:3)\n")) << result.err;
}

// Outputs and messages of random programs stay the same, whatever is explained.
TEST_F(Explain, ChangesNothing) {
  size_t told = 0;
  for (uint64_t seed = 1; seed <= 60; seed++) {
    const Batch batch = makeBatch(seed, 6);
    std::vector<std::string> arguments = batch.switches;
    for (const auto& [name, text] : batch.headers) file(name, text);
    for (const auto& [name, text] : batch.sources) {
      file(name, text);
      arguments.push_back(name);
    }
    const auto everything = [&](const RunResult& result) {
      std::string all = std::to_string(result.status) + result.out;
      for (const std::string& name : outputsIn(scratch_.path())) all += name + ":" + text(name);
      return all;
    };
    setup_.arguments = arguments;
    const std::string expected = everything(run(setup_));
    static const char* const names[] = {"A", "f", "h", "cat", "str", "F0", "M_with_a_long_name", "__LINE__"};
    setup_.arguments.push_back(std::string("--explain=") + names[seed % std::size(names)]);
    const RunResult result = run(setup_);
    told += splitLines(result.err).size();
    ASSERT_EQ(expected, everything(result)) << "seed " << seed;
  }
  EXPECT_GT(told, 500U);
}

}  // namespace
