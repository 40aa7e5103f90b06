// The platform layer: names of files, searches, surroundings, code pages and faults.

#include <gtest/gtest.h>
#include <iconv.h>
#include <setjmp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "check.h"
#include "platform/clock.h"
#include "platform/code_page.h"
#include "platform/component.h"
#include "platform/faults.h"
#include "platform/file_search.h"
#include "platform/files.h"
#include "platform/locale.h"
#include "platform/output_file.h"
#include "platform/pages.h"
#include "platform/read_files.h"

namespace {

namespace fs = std::filesystem;

// Tests that make files do so in a directory of their own.
class Files : public testing::Test {
 protected:
  void SetUp() override {
    forgetDirectories();
    forgetReadFiles();
  }

  // The path of `name` in the scratch directory, as handed to the layer.
  std::string in(const std::string& name) const { return scratch_.path().string() + "/" + name; }

  void make(const std::string& name) const { writeFile(scratch_.path() / name, name); }

  // What an open of `name` finds, told by the file's text, or the result of the failure.
  std::string found(const std::string& name) const {
    const int handle = openForReading(in(name).c_str());
    if (handle < 0) return std::to_string(handle);
    char text[200];
    const int64_t count = readFile(handle, text, sizeof text);
    closeFile(handle);
    return std::string(text, size_t(count < 0 ? 0 : count));
  }

  // The names that `pattern` matches, with a blank after each.
  std::string matches(const std::string& pattern) const {
    std::string names;
    FileMatches* all;
    const FindOutcome outcome = findFiles(in(pattern).c_str(), all);
    if (outcome != filesFound) return outcome == filesMissing ? "none" : "failed";
    while (const char* name = nextMatch(all)) names += std::string(name) + " ";
    closeMatches(all);
    return names;
  }

  ScratchDirectory scratch_;
};

TEST_F(Files, NamesAreFoundWithoutRegardToCase) {
  make("Sub/b/Defs.H");
  make("Sub/DEFS.h");
  make("x.h");
  EXPECT_EQ(found("sub\\B\\dEFS.h"), "Sub/b/Defs.H");
  EXPECT_EQ(found("SUB/defs.h"), "Sub/DEFS.h");
  EXPECT_EQ(found("Sub//B/../DEFS.H"), "Sub/DEFS.h");
  EXPECT_EQ(found(".\\X.H"), "x.h");
  EXPECT_EQ(found("X.H/"), "-1");
  EXPECT_EQ(found("x.h/y"), "-1");
  EXPECT_EQ(found("Sub/none.h"), "-1");
  EXPECT_EQ(found("none/x.h"), "-1");
  // A directory is no file, whatever its spelling.
  EXPECT_EQ(found("Sub"), "-1");
  EXPECT_EQ(found("SUB"), "-1");
  EXPECT_EQ(kindOfPath(in("SUB").c_str()), pathIsDirectory);
  EXPECT_EQ(kindOfPath(in("SUB\\b\\defs.h").c_str()), pathIsFile);
}

TEST_F(Files, ExactSpellingWinsThenByteOrder) {
  make("ab.h");
  make("aB.h");
  make("Ab.h");
  EXPECT_EQ(found("ab.h"), "ab.h");
  EXPECT_EQ(found("AB.H"), "Ab.h");
  // A file that comes after the listing was read is found by its own name.
  make("AB.H");
  EXPECT_EQ(found("AB.H"), "AB.H");
}

TEST_F(Files, DrivesAndRelativeNames) {
  make("Dir/a.h");
  const fs::path before = fs::current_path();
  fs::current_path(scratch_.path());
  for (const char* path : {"Dir\\a.h", "C:Dir\\a.h", "dir\\A.H", "z:DIR/a.h"})
    EXPECT_EQ(kindOfPath(path), pathIsFile) << path;
  EXPECT_EQ(kindOfPath(("C:" + in("dir/a.H")).c_str()), pathIsFile);
  for (const char* path : {"", "C:", "a.h"}) EXPECT_EQ(kindOfPath(path), pathMissing) << path;
  for (const char* path : {"C:\\", "."}) EXPECT_EQ(kindOfPath(path), pathIsDirectory) << path;
  fs::current_path(before);
  EXPECT_EQ(openForReading(std::string(100000, 'x').c_str()), openFailed);
  std::string deep;
  for (int i = 0; i < 1500; i++) deep += "n/";
  EXPECT_EQ(openForReading(deep.c_str()), openFailed);
}

TEST_F(Files, OutputGoesIntoTheDirectoryThatExists) {
  fs::create_directory(scratch_.path() / "out");
  make("out/old.i");
  const int handle = createFile(in("OUT\\A.i").c_str());
  ASSERT_GE(handle, 0);
  EXPECT_TRUE(::writeFile(handle, "text", 4));
  EXPECT_EQ(sizeOfFile(handle), 4);
  EXPECT_FALSE(fs::exists(scratch_.path() / "out/A.i"));
  EXPECT_EQ(finishCreatedFile(handle), finishDone);
  EXPECT_EQ(readFile(scratch_.path() / "out/A.i"), "text");
  // What is finished stays.
  removeCreatedFile();
  EXPECT_EQ(readFile(scratch_.path() / "out/A.i"), "text");
  closeFile(createFile(in("out/A.i").c_str()));
  removeCreatedFile();
  EXPECT_FALSE(fs::exists(scratch_.path() / "out/A.i"));
  EXPECT_TRUE(fs::exists(scratch_.path() / "out/old.i"));
  EXPECT_EQ(createFile(in("none\\A.i").c_str()), openFailed);
  EXPECT_EQ(createFile(in("out").c_str()), openFailed);
}

// A break must not delete what is not ours: another file of that name, or a device.
TEST_F(Files, OnlyTheOwnFileIsRemoved) {
  make("a.i");
  closeFile(createFile(in("a.i").c_str()));
  fs::rename(scratch_.path() / "a.i", scratch_.path() / "kept.i");
  make("a.i");
  removeCreatedFile();
  EXPECT_EQ(found("a.i"), "a.i");
  EXPECT_EQ(found("kept.i"), "a.i");
  closeFile(createFile("/dev/null"));
  removeCreatedFile();
  EXPECT_TRUE(fs::exists("/dev/null"));
  // Links in a circle are no name for an output.
  fs::create_symlink("circle.i", scratch_.path() / "circle.i");
  EXPECT_EQ(createFile(in("circle.i").c_str()), openFailed);
  EXPECT_EQ(matches(".*"), "none");
}

// The record of files must hold however many a unit reads.
TEST_F(Files, ManyFilesAreRemembered) {
  forgetReadFiles();
  noteRead({1, 1});
  beginUnitFiles();
  constexpr uint64_t count = 5000;
  for (uint64_t i = 2; i < count; i++) noteRead({i % 3, i});
  for (uint64_t i = 2; i < count; i++) ASSERT_TRUE(wasRead({i % 3, i})) << i;
  EXPECT_FALSE(wasRead({0, count + 1}));
  beginUnitFiles();
  EXPECT_FALSE(wasRead({2, 2}));
  // What was read before the first unit counts for all.
  EXPECT_TRUE(wasRead({1, 1}));
  forgetReadFiles();
  EXPECT_FALSE(wasRead({1, 1}));
}

TEST_F(Files, ReadsAndSeeks) {
  make("0123456789");
  const int handle = openForReading(in("0123456789").c_str());
  ASSERT_GE(handle, 0);
  char text[8] = {};
  EXPECT_EQ(readFile(handle, text, 7), 7);
  EXPECT_EQ(readFile(handle, text, 7), 3);
  EXPECT_EQ(readFile(handle, text, 7), 0);
  EXPECT_TRUE(seekFile(handle, 8));
  EXPECT_EQ(readFile(handle, text, 7), 2);
  EXPECT_EQ(text[0], '8');
  EXPECT_FALSE(seekFile(handle, UINT64_MAX));
  closeFile(handle);
  EXPECT_EQ(readFile(handle, text, 7), -1);
}

// A terminal whose other end is gone gives what was typed, and then fails: that is no end of a file.
TEST_F(Files, PartOfAFailedReadIsNoText) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  const int other = open(ptsname(terminal), O_RDWR | O_NOCTTY);
  ASSERT_GE(other, 0);
  ASSERT_EQ(write(other, "abc", 3), 3);
  ASSERT_TRUE(closeFile(other));
  char text[8];
  EXPECT_EQ(readFile(terminal, text, 3), 3);
  EXPECT_EQ(readFile(terminal, text, 3), -1);
  const int again = open(ptsname(terminal), O_RDWR | O_NOCTTY);
  ASSERT_EQ(write(again, "de", 2), 2);
  closeFile(again);
  EXPECT_EQ(readFile(terminal, text, sizeof text), -1);
  EXPECT_TRUE(closeFile(terminal));
  EXPECT_FALSE(closeFile(terminal));
}

// An open that waits for a writer would hang the program on a stray pipe.
TEST_F(Files, PipeWaitsForItsWriter) {
  const std::string name = in("pipe.h");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  alarm(10);
  std::thread writer([&] {
    FILE* const pipe = std::fopen(name.c_str(), "w");
    usleep(20000);
    std::fputs("x", pipe);
    std::fclose(pipe);
  });
  const int handle = openForReading(name.c_str());
  ASSERT_GE(handle, 0);
  EXPECT_EQ(sizeOfFile(handle), -1);
  char text[4];
  EXPECT_EQ(readFile(handle, text, sizeof text), 1);
  EXPECT_EQ(readFile(handle, text, sizeof text), 0);
  writer.join();
  alarm(0);
  closeFile(handle);
}

TEST_F(Files, NoDescriptorLeftIsToldAndNotRemembered) {
  make("Dir/a.h");
  make("b.h");
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit none = before;
  none.rlim_cur = 0;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const int exact = openForReading(in("b.h").c_str());
  const int folded = openForReading(in("dir/A.h").c_str());
  const int created = createFile(in("c.i").c_str());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(exact, openTooManyFiles);
  EXPECT_EQ(folded, openTooManyFiles);
  EXPECT_EQ(created, openTooManyFiles);
  EXPECT_EQ(found("dir/A.h"), "Dir/a.h");
}

TEST_F(Files, PatternsNameFilesInOrder) {
  for (const char* name : {"b.c", "A.C", "a1.cpp", "noext", ".hidden.c", "d.c/x", "sub/y.c"}) make(name);
  EXPECT_EQ(matches("*.c"), "A.C b.c ");
  EXPECT_EQ(matches("*.*"), "A.C a1.cpp b.c noext ");
  EXPECT_EQ(matches("?1.C*"), "a1.cpp ");
  EXPECT_EQ(matches("*"), "A.C a1.cpp b.c noext ");
  EXPECT_EQ(matches("*1*p*p"), "a1.cpp ");
  EXPECT_EQ(matches("SUB\\*.C"), "y.c ");
  EXPECT_EQ(matches("a.c"), "A.C ");
  EXPECT_EQ(matches("b.c"), "b.c ");
  EXPECT_EQ(matches(".hidden.c"), ".hidden.c ");
  for (const char* pattern : {"d.c", "*.x", "none/*.c", "sub", "?", "", "sub/"})
    EXPECT_EQ(matches(pattern), "none");
}

TEST_F(Files, ClosedConsoleIsAFailedWrite) {
  // In a process of its own, since it gives standard output away.
  EXPECT_EXIT(
      {
        installBreakHandler([] {}, 255);
        int ends[2];
        if (pipe(ends) != 0) _exit(1);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        const bool gathered = writeConsole("x", 1);
        const bool flushed = flushConsole();
        _exit(gathered && !flushed && !writeConsole("x", 1) ? 7 : 2);
      },
      testing::ExitedWithCode(7), "");
}

// Sets the variables of the locale; null unsets one.
void setLocale(const char* all, const char* messages, const char* characters, const char* lang) {
  const char* const names[] = {"LC_ALL", "LC_MESSAGES", "LC_CTYPE", "LANG"};
  const char* const values[] = {all, messages, characters, lang};
  for (int i = 0; i < 4; i++) values[i] == nullptr ? unsetenv(names[i]) : setenv(names[i], values[i], 1);
}

TEST(Locale, LanguageAndCodePage) {
  struct Row {
    const char* locale;
    const char* language;
    uint32_t codePage;
  };
  const Row rows[] = {{"de_DE.UTF-8", "DEU", 65001},
                      {"de_AT.ISO-8859-15@euro", "DEA", 28605},
                      {"de", "DEU", 1252},
                      {"de_XX", "DEU", 1252},
                      {"en_GB.utf8", "ENG", 65001},
                      {"pt_BR.CP1252", "PTB", 1252},
                      {"ja_JP.SJIS", "JPN", 932},
                      {"zh_TW.Big5", "CHT", 950},
                      {"ko_KR.EUC-KR", "KOR", 949},
                      {"ru_RU.koi8-r", "RUS", 20866},
                      {"en_US.IBM437", "ENU", 437},
                      {"C.UTF-8", "", 65001},
                      {"POSIX", "", 1252},
                      {"tlh_QX.UTF-99", "", 1252},
                      {"x.cp99999999999999999999", "", 1252},
                      {"", "", 1252}};
  for (const Row& row : rows) {
    setLocale(row.locale, nullptr, nullptr, nullptr);
    EXPECT_STREQ(localeLanguage().text, row.language) << row.locale;
    EXPECT_EQ(systemCodePage(), row.codePage) << row.locale;
  }
  for (const int part : {1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 15}) {
    const std::string locale = "xx_XX.ISO-8859-" + std::to_string(part);
    setLocale(locale.c_str(), nullptr, nullptr, nullptr);
    EXPECT_EQ(systemCodePage(), 28590U + unsigned(part)) << locale;
  }
  // Each question has a variable of its own, and an empty one does not count.
  setLocale("", "fr_CA", "ja_JP.SJIS", "de_DE.UTF-8");
  EXPECT_STREQ(localeLanguage().text, "FRC");
  EXPECT_EQ(systemCodePage(), 932U);
  setLocale(nullptr, nullptr, nullptr, nullptr);
}

TEST_F(Files, ConfiguredLocale) {
  writeFile(scratch_.path() / "vestrel/locales",
            "# a comment = ENU\r\n\nno value\n* = DEU\r\n/opt/a=b/vsp32 =\tFR \n/opt/long = "
            "TOOLONG\n/opt/empty =\n");
  setenv("XDG_CONFIG_HOME", scratch_.path().c_str(), 1);
  EXPECT_STREQ(configuredLocale("/opt/a=b/VSP32").text, "FR");
  EXPECT_STREQ(configuredLocale("/other").text, "DEU");
  EXPECT_STREQ(configuredLocale("/opt/long").text, "DEU");
  EXPECT_STREQ(configuredLocale("/opt/empty").text, "");
  setenv("XDG_CONFIG_HOME", in("none").c_str(), 1);
  EXPECT_STREQ(configuredLocale("/other").text, "");
  unsetenv("XDG_CONFIG_HOME");
}

// The 16-bit characters of `text` in hexadecimal.
std::string wide(uint32_t codePage, const std::string& text) {
  uint16_t result[5] = {};
  const int count =
      toWideChars(codePage, reinterpret_cast<const Byte*>(text.data()), int(text.size()), result, 5);
  std::string digits;
  for (int i = 0; i < count; i++) {
    char number[16];
    snprintf(number, sizeof number, "%x ", unsigned{result[i]});
    digits += number;
  }
  return digits;
}

TEST(CodePages, Conversion) {
  EXPECT_EQ(wide(437, "A\x81\xE1\xFF"), "41 fc df a0 ");
  EXPECT_EQ(wide(1252, "A\x80\x81\xE9"), "41 20ac 81 e9 ");
  EXPECT_EQ(wide(28591, "\x80\xE9"), "80 e9 ");
  EXPECT_EQ(wide(65001, "\xC3\xA9\xE2\x82\xAC"), "e9 20ac ");
  EXPECT_EQ(wide(65001, "\xF0\x9F\x98\x80"), "d83d de00 ");
  // Bytes that are no UTF-8: cut short, too long a form, a surrogate, beyond the end.
  EXPECT_EQ(wide(65001, "\xE9"), "e9 ");
  EXPECT_EQ(wide(65001, "\xC0\x80"), "c0 80 ");
  EXPECT_EQ(wide(65001, "\xED\xA0\x80"), "ed a0 80 ");
  EXPECT_EQ(wide(65001, "\xF4\x90\x80\x80"), "f4 90 80 80 ");
  EXPECT_EQ(wide(1252, "123456"), "");
  EXPECT_EQ(wide(65001, ""), "");
  EXPECT_EQ(wide(0, "a"), "");
  EXPECT_EQ(wide(59999, "a"), "");
}

// The tables of our own hold what the host's converter says; of 1252 a byte without a character stands
// for itself.
TEST(CodePages, TablesAgreeWithTheHost) {
  for (const auto& [page, hostName] : {std::pair(437, "CP437"), std::pair(1252, "CP1252")}) {
    const iconv_t converter = iconv_open("UTF-16LE", hostName);
    if (converter == iconv_t(-1)) GTEST_SKIP() << "the host has no converter for " << hostName;
    for (int b = 0x80; b < 0x100; b++) {
      char byte = char(b), wideBytes[4];
      char *from = &byte, *to = wideBytes;
      size_t fromLeft = 1, toLeft = sizeof wideBytes;
      int expected = b;
      if (iconv(converter, &from, &fromLeft, &to, &toLeft) == 0)
        expected = int(Byte(wideBytes[0])) | int(Byte(wideBytes[1])) << 8;
      char digits[16];
      snprintf(digits, sizeof digits, "%x ", unsigned(expected));
      EXPECT_EQ(wide(uint32_t(page), std::string(1, byte)), digits) << hostName << " " << b;
    }
    iconv_close(converter);
  }
}

TEST(CodePages, LeadBytes) {
  const uint32_t pages[] = {932, 936, 949, 950, 1361, 1252, 437, 65001};
  const int counts[] = {60, 126, 126, 126, 113, 0, 0, 0};
  for (size_t i = 0; i < std::size(pages); i++) {
    int count = 0;
    for (int b = 0; b < 256; b++) count += isLeadByteOf(pages[i], Byte(b)) ? 1 : 0;
    EXPECT_EQ(count, counts[i]) << pages[i];
  }
  EXPECT_TRUE(isLeadByteOf(932, 0x83) && !isLeadByteOf(932, 0xB1) && isLeadByteOf(932, 0xE0));
}

TEST(Pages, DecommittedPagesComeBackEmpty) {
  const size_t page = pageSize();
  Byte* const range = static_cast<Byte*>(reservePages(nullptr, 8 * page));
  ASSERT_NE(range, nullptr);
  ASSERT_TRUE(commitPages(range, 2 * page));
  std::memset(range, 0xFF, 2 * page);
  ASSERT_TRUE(decommitPages(range, 2 * page));
  ASSERT_TRUE(commitPages(range, page));
  EXPECT_EQ(range[0], 0);
  EXPECT_DEATH(*static_cast<volatile Byte*>(range + page) = 1, "");
  EXPECT_TRUE(releasePages(range, 8 * page));
  EXPECT_EQ(reservePages(nullptr, size_t{1} << 60), nullptr);
}

TEST(Clock, FieldsAreInRange) {
  const LocalTime now = localTimeOf(timeNow());
  EXPECT_GE(now.year, 100);
  EXPECT_TRUE(now.month >= 0 && now.month <= 11 && now.day >= 1 && now.day <= 31);
}

TEST(Component, MissingOneIsToldAndLeavesAText) {
  char name[importNameLimit + 1] = "x";
  int result = 5;
  EXPECT_FALSE(readTypeLibrary("a.tlb", "", name, result));
  EXPECT_EQ(name[0], 0);
}

// Uses the stack up; the condition keeps compilers from seeing that it never ends.
[[gnu::noinline]] int useStack(volatile int* depth) {
  volatile char frame[500];
  frame[0] = char(*depth);
  *depth = *depth + 1;
  return *depth < 0 ? 0 : useStack(depth) + frame[0];
}

void overflow(void*) {
  volatile int depth = 0;
  useStack(&depth);
}

jmp_buf wayOut;

TEST(Faults, OverflowReturnsToTheInnermostGuard) {
  for (int i = 0; i < 3; i++) EXPECT_FALSE(runWithStackGuard(overflow, nullptr));
  bool inner = true;
  const auto nested = [](void* result) {
    *static_cast<bool*>(result) = runWithStackGuard(overflow, nullptr);
  };
  EXPECT_TRUE(runWithStackGuard(nested, &inner));
  EXPECT_FALSE(inner);
  // A guard that a non-local return has left must not catch for its frame, which is gone.
  for (int i = 0; i < 40; i++) {
    if (setjmp(wayOut) == 0) runWithStackGuard([](void*) { longjmp(wayOut, 1); }, nullptr);
  }
  EXPECT_FALSE(runWithStackGuard(overflow, nullptr));
  installFaultFilter([](const FaultRecord&) { _exit(9); });
  EXPECT_EXIT(overflow(nullptr), testing::ExitedWithCode(9), "");
  removeFaultFilter();
}

// Handlers stay as long as a guard needs them, and give way to those before them when none does.
TEST(Faults, RemovingTheFilterLeavesGuardsAlone) {
  EXPECT_FALSE(runWithStackGuard(
      [](void*) {
        installFaultFilter([](const FaultRecord&) { _exit(9); });
        removeFaultFilter();
        overflow(nullptr);
      },
      nullptr));
  removeFaultFilter();
  struct sigaction before {
  }, after{};
  sigaction(SIGSEGV, nullptr, &before);
  installFaultFilter([](const FaultRecord&) { _exit(9); });
  sigaction(SIGSEGV, nullptr, &after);
  EXPECT_NE(before.sa_sigaction, after.sa_sigaction);
  removeFaultFilter();
  sigaction(SIGSEGV, nullptr, &after);
  EXPECT_EQ(before.sa_sigaction, after.sa_sigaction);
}

void faultNow(void*) {
  // No null pointer, which the sanitizer would report before the access.
  volatile int* volatile nowhere = reinterpret_cast<int*>(64);
  *nowhere = 1;
}

TEST(Faults, OtherFaultsGoToTheFilterAndThenToTheSystem) {
  EXPECT_EXIT(
      {
        installFaultFilter([](const FaultRecord& record) {
          const uintptr_t here = reinterpret_cast<uintptr_t>(&faultNow);
          _exit(record.address - here < 4096 && record.base < here && record.base != 0 ? 7 : 8);
        });
        runWithStackGuard(faultNow, nullptr);
      },
      testing::ExitedWithCode(7), "");
  EXPECT_EXIT(
      {
        installFaultFilter([](const FaultRecord&) { fprintf(stderr, "seen\n"); });
        faultNow(nullptr);
      },
      testing::KilledBySignal(SIGSEGV), "seen");
  // A fault in the filter comes back to the filter; it must not go on for ever.
  EXPECT_EXIT(
      {
        installFaultFilter([](const FaultRecord&) { faultNow(nullptr); });
        raise(SIGFPE);
      },
      testing::KilledBySignal(SIGSEGV), "");
}

TEST(Faults, BreakSignalsRunTheHandler) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(
        {
          ::signal(signal, SIG_DFL);
          installBreakHandler([] { ::write(2, "handled", 7); }, 255);
          raise(signal);
        },
        testing::ExitedWithCode(255), "handled");
    EXPECT_EXIT(
        {
          ::signal(signal, SIG_IGN);
          installBreakHandler([] {}, 255);
          raise(signal);
          _exit(6);
        },
        testing::ExitedWithCode(6), "");
  }
}

// A hold that a stack overflow has left must not keep breaks away for ever.
TEST(Faults, HeldBreaksRunAtTheRelease) {
  EXPECT_EXIT(
      {
        ::signal(SIGINT, SIG_DFL);
        installBreakHandler([] { ::write(2, "handled", 7); }, 255);
        holdBreaks();
        holdBreaks();
        raise(SIGINT);
        if (breakWaits()) ::write(2, "waits ", 6);
        releaseBreaks();
        ::write(2, "still ", 6);
        releaseBreaks();
        _exit(1);
      },
      testing::ExitedWithCode(255), "waits still handled");
  EXPECT_EXIT(
      {
        ::signal(SIGINT, SIG_DFL);
        installBreakHandler([] {}, 255);
        runWithStackGuard(
            [](void*) {
              holdBreaks();
              overflow(nullptr);
            },
            nullptr);
        raise(SIGINT);
        _exit(1);
      },
      testing::ExitedWithCode(255), "");
}

}  // namespace
