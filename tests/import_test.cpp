// What stands next to the program: the component that reads type libraries for #import, language
// libraries, and the configuration file.
//
// Each test runs a copy of the program in a directory `bin` of its own, from a directory `work` next to
// it, and compares one text: the component's record of its calls, the output, or the messages.

#include <sys/stat.h>

#include "check.h"

namespace {

using Path = std::filesystem::path;

class BesideProgram : public testing::Test {
 protected:
  BesideProgram() : bin_(scratch_.path() / "bin"), work_(scratch_.path() / "work") {
    std::filesystem::create_directories(bin_);
    std::filesystem::create_directories(work_);
    setup_.directory = work_;
    setup_.program = (bin_ / "vsp32").string();
    setup_.arguments = {"-q", "-P-", "a.c"};
    std::filesystem::copy_file(VSP_PROGRAM, setup_.program);
  }

  // A file in the working directory.
  void file(const std::string& name, const std::string& text = "") { writeFile(work_ / name, text); }

  // Runs the program over a file a.c with this text.
  RunResult runOver(const std::string& text) {
    file("a.c", text);
    const RunResult result = run(setup_);
    EXPECT_LE(result.status, 1) << result.err;
    return result;
  }
  std::string messagesFor(const std::string& text) { return messagesOf(runOver(text).out); }

  ScratchDirectory scratch_;
  Path bin_;
  Path work_;
  RunSetup setup_;
};

// With a component that answers with the header types.tlh, and a library x.tlb.
class Import : public BesideProgram {
 protected:
  Import() {
    std::filesystem::copy_file(VSP_TLBREADER, bin_ / "tlbreader.so");
    file("x.tlb");
    file("types.tlh", "#ifndef TYPES\n#define TYPES\nstruct Types;\n#endif\n");
    answer(0, "types.tlh");
    setup_.environment["TLB_LOG"] = (work_ / "log").string();
  }

  // What the component answers from now on.
  void answer(int result, const std::string& name) {
    setup_.environment["TLB_RESULT"] = std::to_string(result);
    setup_.environment["TLB_NAME"] = name;
  }

  // The calls of one run, each as "path|attributes|third argument"; after them the messages.
  std::string callsFor(const std::string& text) {
    std::filesystem::remove(work_ / "log");
    const std::string messages = messagesFor(text);
    return readFile(work_ / "log") + messages;
  }
};

// Identifiers, strings and ( ) , go on, after macros; keywords, numbers and operators do not.
TEST_F(Import, TellsPathAndAttributes) {
  file("sub/y.tlb");
  EXPECT_EQ(
      "x.tlb|no_namespace , rename ( \"a\" , \"b\" ) |0\n"
      "sub\\y.tlb|raw ( \"C:\\dir\\\"q\\\"\" ) kept , |0\n"
      "x.tlb||0\n"
      "x.tlb|last |0\n",
      callsFor(
          "#define NS no_namespace\n"
          "#import \"x.tlb\" NS, rename(\"a\",\"b\")\n"
          "#import \"sub\\y.tlb\" raw(\"C:\\dir\\\"q\\\"\") /* gone */ = 12 'c' int \\\nkept, 1.5 // gone\n"
          "#import \"x.tlb\"\n"
          "#import <x.tlb> last"));
}

// The header is included as if the source had named it; after its guard it isn't opened again, though the
// component is asked again.
TEST_F(Import, IncludesTheHeader) {
  setup_.arguments = {"-q", "--deps=deps", "a.c"};
  EXPECT_EQ("", messagesFor("one\n#import \"x.tlb\"\ntwo\n#import \"x.tlb\" again\nTYPES three\n"));
  EXPECT_EQ("x.tlb||0\nx.tlb|again |0\n", readFile(work_ / "log"));
  EXPECT_EQ("a.i: \\\n  a.c \\\n  x.tlb \\\n  types.tlh\n", readFile(work_ / "deps"));
  EXPECT_EQ(
      "/* a.c 1: */one\r\n/* a.c 2: */\r\n"
      "\r\n/* types.tlh 1: */\r\n\r\n/* types.tlh 2: */\r\n/* types.tlh 3: */struct Types;\r\n"
      "/* types.tlh 4: */\r\n/* types.tlh 5: */\r\n/* types.tlh 6: */\r\n/* types.tlh 7: */\r\n"
      "/* a.c 3: */two\r\n/* a.c 4: */ \r\n/* a.c 5: */ three\r\n/* a.c 6: */\r\n/* a.c 7: */",
      readFile(work_ / "a.i"));
}

// Each run takes away the library that the run before found, so the calls stand in the order of the search.
class ImportSearch : public Import {
 protected:
  ImportSearch() {
    std::filesystem::remove(work_ / "x.tlb");
    setup_.environment["PATH"] = "nowhere;; PathDir\t ;other/";
  }

  std::string searchOrder(const std::string& form, const std::vector<std::string>& files) {
    file("src/in/inner.h", "#import " + form + "\n");
    for (const std::string& name : files) file(name);
    std::string calls;
    for (const std::string& name : files) {
      calls += callsFor("#include \"src/outer.h\"\n");
      std::filesystem::remove(work_ / name);
    }
    return calls + callsFor("#include \"src/outer.h\"\n");
  }

  void SetUp() override { file("src/outer.h", "#include \"in/inner.h\"\n"); }
};

TEST_F(ImportSearch, OfQuotedNames) {
  setup_.arguments = {"-q", "-Lldir;l2", "-Iidir", "a.c"};
  EXPECT_EQ(
      "src/in/x.tlb||0\nsrc/x.tlb||0\nx.tlb||0\nPATHDIR\\x.tlb||0\nOTHER/x.tlb||0\nldir\\x.tlb||0\n"
      "l2\\x.tlb||0\nidir\\x.tlb||0\nError E2501 src/in/inner.h 1: Unable to open import file 'x.tlb'\n",
      searchOrder("\"x.tlb\"", {"src/in/x.tlb", "src/x.tlb", "x.tlb", "pathdir/x.tlb", "other/x.tlb",
                                "ldir/x.tlb", "l2/x.tlb", "idir/x.tlb"}));
  setup_.arguments.insert(setup_.arguments.begin(), "-VI-");
  file("src/outer.h", "#include \"src/in/inner.h\"\n");
  file("src/in/x.tlb");
  EXPECT_EQ("x.tlb||0\nError E2501 src/in/inner.h 1: Unable to open import file 'x.tlb'\n",
            searchOrder("\"x.tlb\"", {"x.tlb"}));
}

TEST_F(ImportSearch, OfBracketedNames) {
  const std::string missing = "Error E2501 src/in/inner.h 1: Unable to open import file 'x.tlb'\n";
  const std::vector<std::string> files = {"pathdir/x.tlb", "ldir/x.tlb", "src/in/x.tlb", "src/x.tlb",
                                          "idir/x.tlb"};
  setup_.arguments = {"-q", "-VF", "-Lldir", "-Iidir", "a.c"};
  EXPECT_EQ("PATHDIR\\x.tlb||0\nldir\\x.tlb||0\nsrc/in/x.tlb||0\nsrc/x.tlb||0\nidir\\x.tlb||0\n" + missing,
            searchOrder("<x.tlb>", files));
  // Without -I the name as it stands comes first; with one it isn't tried.
  setup_.arguments = {"-q", "a.c"};
  EXPECT_EQ("x.tlb||0\nPATHDIR\\x.tlb||0\n" + missing, searchOrder("<x.tlb>", {"x.tlb", "pathdir/x.tlb"}));
  setup_.arguments = {"-q", "-Iidir", "a.c"};
  file("x.tlb");
  EXPECT_EQ("idir\\x.tlb||0\n" + missing, searchOrder("<x.tlb>", {"idir/x.tlb"}));
}

// The second pass goes through all places with the name cut to 8.3; the message has the name as written.
TEST_F(ImportSearch, WithShortNames) {
  setup_.arguments = {"-q", "-Lldir", "a.c"};
  EXPECT_EQ(
      "ldir\\LongLibrary.tlbx||0\nsrc/in/LongLibr.tlb||0\nldir\\LongLibr.tlb||0\n"
      "Error E2501 src/in/inner.h 1: Unable to open import file 'LongLibrary.tlbx'\n",
      searchOrder("\"LongLibrary.tlbx\"",
                  {"ldir/LongLibrary.tlbx", "src/in/longlibr.tlb", "ldir/longlibr.tlb"}));
}

// Directories too long for a path are passed over, and without a PATH there is nothing to search.
TEST_F(ImportSearch, WithHostilePath) {
  setup_.environment["PATH"] =
      std::string(100000, 'p') + ";" + std::string(255, 'q') + ";" + std::string(5000, ';') + " \t;pathdir";
  file("pathdir/x.tlb");
  EXPECT_EQ("PATHDIR\\x.tlb||0\n", callsFor("#import \"x.tlb\"\n"));
  setup_.inChild = [this] {
    // The program sees no PATH at all.
    const std::string log = "TLB_LOG=" + (work_ / "log").string();
    const std::vector<const char*> words = {setup_.program.c_str(), "-q", "a.c", nullptr};
    const std::vector<const char*> variables = {log.c_str(), "TLB_RESULT=0", "TLB_NAME=types.tlh", nullptr};
    execve(words[0], const_cast<char**>(words.data()), const_cast<char**>(variables.data()));
  };
  EXPECT_EQ("Error E2501 a.c 1: Unable to open import file 'x.tlb'\n", callsFor("#import \"x.tlb\"\n"));
}

// A failure stops the directive and nothing else.
TEST_F(Import, ReportsTheComponentsFailure) {
  answer(-1, "library %s%n is damaged");
  EXPECT_EQ(
      "Error E2502 a.c 1: Error resolving #import: library %s%n is damaged\n"
      "Error E2048 a.c 2: Unknown preprocessor directive: 'next'\n",
      messagesFor("#import \"x.tlb\" a\n#next\n"));
  answer(1, std::string(4095, 't'));
  EXPECT_EQ("Error E2502 a.c 1: Error resolving #import: " + std::string(4095, 't') + "\n",
            messagesFor("#import \"x.tlb\"\n"));
}

TEST_F(Import, ReportsAMissingComponent) {
  const std::string source = "#import \"x.tlb\" a\n#import \"x.tlb\"\n#next\n";
  const std::string missing =
      "Error E2503 a.c 1: Missing or incorrect version of TlbReader.dll\n"
      "Error E2503 a.c 2: Missing or incorrect version of TlbReader.dll\n"
      "Error E2048 a.c 3: Unknown preprocessor directive: 'next'\n";
  std::filesystem::remove(bin_ / "tlbreader.so");
  EXPECT_EQ(missing, messagesFor(source));
  writeFile(bin_ / "tlbreader.so", "not a component\n");
  EXPECT_EQ(missing, messagesFor(source));
  // One with another entry.
  std::filesystem::copy_file(VSP_OTHER_READER, bin_ / "tlbreader.so",
                             std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ(missing, callsFor(source));
  // The system's loader finds one where it is told to look.
  std::filesystem::remove(bin_ / "tlbreader.so");
  std::filesystem::create_directories(scratch_.path() / "lib");
  std::filesystem::copy_file(VSP_TLBREADER, scratch_.path() / "lib/tlbreader.so");
  setup_.environment["LD_LIBRARY_PATH"] = (scratch_.path() / "lib").string();
  EXPECT_EQ("x.tlb|a |0\n", callsFor("#import \"x.tlb\" a\n"));
}

// The library's name and the header's name may have 260 characters.
TEST_F(Import, TakesNamesUpToTheLimit) {
  const std::string longest = std::string(100, 'd') + "/" + std::string(155, 'n') + ".tlb";
  ASSERT_EQ(260u, longest.size());
  file(longest, "long\n");
  EXPECT_EQ(longest + "||0\n", callsFor("#import \"" + longest + "\"\n"));
  EXPECT_EQ("Error E2197 a.c 1: File name too long\n", callsFor("#import \"" + longest + "b\"\n"));
  answer(0, longest);
  EXPECT_EQ("x.tlb||0\n", callsFor("#import \"x.tlb\"\n"));
  EXPECT_EQ(
      "#line 1 \"a.c\"\r\n\r\n\r\n#line 1 \"" + longest + "\"\r\n\r\nlong\r\n\r\n\r\n#line 2 \"a.c\"\r\n\r\n",
      readFile(work_ / "a.i"));
  for (const std::string& name : {longest + "h", std::string(4095, 'h'), std::string(8000, 'h')}) {
    answer(0, name);
    EXPECT_EQ("x.tlb||0\nError E2197 a.c 1: File name too long\n", callsFor("#import \"x.tlb\"\n"));
  }
}

// The attribute text grows as far as it must, also by one piece that is larger than all before it.
TEST_F(Import, TakesLongAttributes) {
  std::string source;
  std::string attributes;
  for (int i = 0; i < 2000; i++) {
    source += "name" + std::to_string(i) + ",";
    attributes += "name" + std::to_string(i) + " , ";
  }
  const std::string big = "\"" + std::string(10000, 'b') + "\"";
  EXPECT_EQ("x.tlb|" + attributes + big + " |0\nx.tlb|" + big + " |0\n",
            callsFor("#import \"x.tlb\" " + source + big + "\n#import \"x.tlb\"" + big + "\n"));
  // Around the first size, byte by byte.
  for (size_t size = 4088; size < 4100; size++) {
    const std::string piece = "\"" + std::string(size - 2, 'p') + "\"";
    EXPECT_EQ("x.tlb|" + piece + " |0\n", callsFor("#import \"x.tlb\" " + piece + "\n"));
  }
}

// --- Languages ---

class Languages : public BesideProgram {
 protected:
  Languages() { setup_.environment["LC_ALL"] = "de_DE.UTF-8"; }
  void library(const std::string& extension, const std::string& text) {
    writeFile(bin_ / ("vsp32." + extension), text);
  }
};

constexpr const char* faultySource = "#include \"none.h\"\n#define A 1\n#define A 2\n";

TEST_F(Languages, GermanLibrary) {
  library("DEU", readFile(VSP_SOURCE_DIR "/languages/vsp32.DEU"));
  setup_.arguments = {"a.c", "none.c"};
  EXPECT_EQ(
      "Vestrel C++ Win32 Präprozessor 5.5 Frei zu verwenden und zu kopieren; ohne jede Gewährleistung.\n"
      "a.c:\n"
      "Fehler E2209 a.c 1: Include-Datei 'none.h' kann nicht geöffnet werden\n"
      "Warnung W8017 a.c 3: Neudefinition von 'A' weicht ab\n"
      "*** 1 Fehler beim Kompilieren ***\n"
      "Fehler E2194: Datei 'none.c' nicht gefunden\n",
      runOver(faultySource).out);
}

// The text is the translator's; code and severity are what tools compare.
TEST_F(Languages, OtherFormsOfMessages) {
  library("DEU", readFile(VSP_SOURCE_DIR "/languages/vsp32.DEU"));
  setup_.arguments = {"-q", "--messages=gnu", "a.c"};
  EXPECT_EQ(
      "a.c:\n"
      "a.c:1: error: Include-Datei 'none.h' kann nicht geöffnet werden [E2209]\n"
      "a.c:3: warning: Neudefinition von 'A' weicht ab [W8017]\n"
      "*** 1 Fehler beim Kompilieren ***\n",
      runOver(faultySource).out);
  setup_.arguments = {"-q", "--messages=sarif", "a.c"};
  const std::string log = runOver(faultySource).err;
  const size_t place = log.find("{\"ruleId\":\"W8017\"");
  ASSERT_NE(std::string::npos, place) << log;
  EXPECT_NE(std::string::npos, log.find("\"message\":{\"text\":\"Neudefinition von 'A' weicht ab\"}", place))
      << log;
  // A text without its code, one that is nothing else, and none.
  library("DEU", "224 Datei '%s' fehlt\n540 W8017\n4142 %d\n");
  setup_.arguments = {"-q", "--messages=gnu", "a.c"};
  EXPECT_EQ("a.c:\na.c:1: error: Datei 'none.h' fehlt [E2209]\na.c:3: warning: W8017 [W8017]\n1",
            runOver(faultySource).out);
}

// The user's own choice comes first, then three letters, then two; a library without texts is none.
TEST_F(Languages, Order) {
  const std::string rest = " E2209 a.c 1: x\n";
  const auto runNow = [this] { return splitLines(runOver("#include \"none.h\"\n").out).at(1) + "\n"; };
  EXPECT_EQ("Error E2209 a.c 1: Unable to open include file 'none.h'\n", runNow());
  library("DE", "224 E2209 x\n4143 two\n");
  EXPECT_EQ("two" + rest, runNow());
  library("DEU", "no texts here\n");
  EXPECT_EQ("two" + rest, runNow());
  library("DEU", "224 E2209 x\n4143 three\n");
  EXPECT_EQ("three" + rest, runNow());
  library("abcd", "224 E2209 x\n4143 chosen\n");
  file(".config/vestrel/locales", "* = abcd\n");
  EXPECT_EQ("chosen" + rest, runNow());
  file(".config/vestrel/locales", "* = abcd\n" + setup_.program + " = none\n");
  EXPECT_EQ("three" + rest, runNow());
}

// A pipe in the place of a library is none: an open of it could wait for ever.
TEST_F(Languages, PipeIsNoLibrary) {
  ASSERT_EQ(0, mkfifo((bin_ / "vsp32.DEU").c_str(), 0600));
  library("DE", "224 E2209 x\n4143 two\n");
  setup_.inChild = [] { alarm(20); };
  EXPECT_EQ("two E2209 a.c 1: x\n", splitLines(runOver("#include \"none.h\"\n").out).at(1) + "\n");
}

// What a library leaves out is empty, and no text of a library reads what wasn't given.
TEST_F(Languages, HostileTexts) {
  library("DEU", "224 E2209 %s|%s|%n|%99999d|%*s|%c|%ls|%\n4143 %s%n\n4142 %d%s%n\n540\n9999999999 x\n");
  EXPECT_EQ("a.c:\n%s%n E2209 a.c 1: none.h|%s|%n|%99999d|%*s|%c|%ls|%\n  a.c 3: \n1%s%n",
            runOver(faultySource).out);
  // A diagnostic has 512 bytes, the words around it and the summary have 4096.
  library("DEU", "224 E2209" + std::string(600000, 's') + "\n4143 " + std::string(5000, '%') + "\n4142 %d" +
                     std::string(5000, 'e') + "\n");
  EXPECT_EQ("a.c:\n" + std::string(4095, '%') + " E2209 a.c 1: " + std::string(505, 's') + "\n  a.c 3: \n1" +
                std::string(4093, 'e'),
            runOver(faultySource).out);
}

// --- The configuration file ---

TEST_F(BesideProgram, ConfigurationFile) {
  const auto outputNow = [this] {
    const std::string messages = messagesFor("A B\n");
    return messages + splitLines(readFile(work_ / "a.i")).at(1);
  };
  writeFile(bin_ / "vsc32.cfg", "-DA=beside\n-DB=too\n");
  EXPECT_EQ("beside too\r", outputNow());
  // One in the current directory hides it; they aren't merged.
  file("vsc32.cfg", "-DA=here\n");
  EXPECT_EQ("here B\r", outputNow());
  // One that is named takes the place of both.
  file("own.cfg", "-DB=own\n");
  setup_.arguments.insert(setup_.arguments.begin(), "+own.cfg");
  EXPECT_EQ("A own\r", outputNow());
}

// In another case: the first in byte order, in the directory of the program too, also where that is
// reached by a link, and however many files lie there. A link that leads nowhere has its name.
TEST_F(BesideProgram, ConfigurationFileInAnotherCase) {
  const auto outputNow = [this] {
    const std::string messages = messagesFor("A B\n");
    return messages + splitLines(readFile(work_ / "a.i")).at(1);
  };
  for (const int others : {0, 600}) {
    SCOPED_TRACE(others);
    for (int i = 0; i < others; i++) {
      writeFile(work_ / ("another_file_" + std::to_string(i)), "");
      writeFile(bin_ / ("another_file_" + std::to_string(i)), "");
    }
    EXPECT_EQ("A B\r", outputNow());
    writeFile(bin_ / "VSC32.cfg", "-DA=next\n");
    EXPECT_EQ("next B\r", outputNow());
    std::filesystem::create_symlink(setup_.program, work_ / "link");
    setup_.program = (work_ / "link").string();
    EXPECT_EQ("next B\r", outputNow());
    file("vsC32.Cfg", "-DA=second\n");
    EXPECT_EQ("second B\r", outputNow());
    file("Vsc32.cfg", "-DA=first\n");
    EXPECT_EQ("first B\r", outputNow());
    std::filesystem::create_symlink("nowhere", work_ / "vsc32.cfg");
    EXPECT_EQ("next B\r", outputNow());
    for (const char* name : {"vsC32.Cfg", "Vsc32.cfg", "vsc32.cfg", "link"})
      std::filesystem::remove(work_ / name);
    std::filesystem::remove(bin_ / "VSC32.cfg");
    setup_.program = (bin_ / "vsp32").string();
  }
}

// What a run uses besides its sources is not to be written over: the program, its component, what the
// component was given and has made, and its language.
TEST_F(Import, NoneOfItBecomesTheOutput) {
  writeFile(bin_ / "vsp32.DEU", readFile(VSP_SOURCE_DIR "/languages/vsp32.DEU"));
  std::filesystem::create_symlink(setup_.program, work_ / "program.i");
  setup_.environment["LC_ALL"] = "de_DE";
  for (const auto& [name, path] :
       {std::pair{"../bin/tlbreader.so", bin_ / "tlbreader.so"},
        std::pair{"../bin/vsp32.DEU", bin_ / "vsp32.DEU"}, std::pair{"program.i", Path(setup_.program)},
        std::pair{"x.tlb", work_ / "x.tlb"}, std::pair{"types.tlh", work_ / "types.tlh"}}) {
    const std::string before = readFile(path);
    setup_.arguments = {std::string("-o") + name, "a.c"};
    const RunResult result = runOver("#import \"x.tlb\"\n");
    EXPECT_EQ(1, result.status) << name;
    EXPECT_NE(std::string::npos, result.out.find("F1002")) << name << result.out;
    EXPECT_TRUE(before == readFile(path)) << name;
  }
}

}  // namespace
