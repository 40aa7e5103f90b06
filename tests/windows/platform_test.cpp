// The Windows backend of the platform layer, by the calls that the rest of the program makes. Runs as a
// Windows program in a directory of its own, with the components and the language library next to it.

#include <gtest/gtest.h>
#include <setjmp.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/code_page.h"
#include "platform/component.h"
#include "platform/faults.h"
#include "platform/file_search.h"
#include "platform/files.h"
#include "platform/guid.h"
#include "platform/locale.h"
#include "platform/output_file.h"
#include "platform/pages.h"
#include "platform/read_files.h"
#include "platform/string_table.h"

namespace {

namespace fs = std::filesystem;

// --- Address ranges ---

TEST(Pages, ReserveCommitAndDecommit) {
  constexpr size_t size = 0x4000000;
  void* const wanted = reinterpret_cast<void*>(0x8000000);
  ASSERT_EQ(pageSize(), 0x1000U);
  Byte* const range = static_cast<Byte*>(reservePages(wanted, size));
  ASSERT_NE(range, nullptr);
  // Taken already: the second goes elsewhere.
  void* const other = reservePages(wanted, size);
  ASSERT_NE(other, nullptr);
  EXPECT_NE(other, range);
  EXPECT_TRUE(releasePages(other, size));

  MEMORY_BASIC_INFORMATION block;
  VirtualQuery(range, &block, sizeof block);
  EXPECT_EQ(block.State, DWORD{MEM_RESERVE});
  EXPECT_TRUE(commitPages(range, 0x4000));
  EXPECT_TRUE(commitPages(range + 0x4000, 0x4000));
  std::memset(range, 7, 0x8000);
  EXPECT_TRUE(decommitPages(range, 0x8000));
  VirtualQuery(range, &block, sizeof block);
  EXPECT_EQ(block.State, DWORD{MEM_RESERVE});
  EXPECT_TRUE(commitPages(range, 0x8000));
  EXPECT_EQ(range[0] | range[0x7FFF], 0);
  EXPECT_TRUE(commitPages(range + size - 0x4000, 0x4000));
  EXPECT_FALSE(commitPages(range + size, 0x4000));
  EXPECT_TRUE(releasePages(range, size));
  VirtualQuery(range, &block, sizeof block);
  EXPECT_EQ(block.State, DWORD{MEM_FREE});
  EXPECT_EQ(reservePages(nullptr, 0xF0000000), nullptr);
  EXPECT_EQ(allocatePages(0xF0000000), nullptr);
  void* const own = allocatePages(0x10000);
  EXPECT_TRUE(releasePages(own, 0x10000));
  EXPECT_FALSE(releasePages(own, 0x10000));
}

// --- Files ---

void make(const std::string& name, const std::string& text) {
  if (fs::path(name).has_parent_path()) fs::create_directories(fs::path(name).parent_path());
  std::ofstream(name, std::ios::binary) << text;
}

std::string contents(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Each test runs in a directory of its own.
class Files : public testing::Test {
 protected:
  void SetUp() override {
    former_ = fs::current_path();
    forgetReadFiles();
    beginUnitFiles();
    fs::create_directories("files");
    fs::current_path("files");
  }
  void TearDown() override {
    fs::current_path(former_);
    std::error_code ignored;
    fs::remove_all("files", ignored);
  }

  // What an open of `name` finds, told by the file's text, or the result of the failure.
  static std::string found(const char* name) {
    const int handle = openForReading(name);
    if (handle < 0) return std::to_string(handle);
    char text[200];
    const int64_t count = readFile(handle, text, sizeof text);
    closeFile(handle);
    return std::string(text, size_t(count < 0 ? 0 : count));
  }

 private:
  fs::path former_;
};

TEST_F(Files, NamesAndContents) {
  make("Sub/Defs.H", "one\r\ntwo\x1A three");
  EXPECT_EQ(found("sub\\dEFS.h"), "one\r\ntwo\x1A three");
  EXPECT_EQ(found("SUB/./defs.h"), "one\r\ntwo\x1A three");
  EXPECT_EQ(found("Sub"), "-1");
  EXPECT_EQ(found("none.h"), "-1");
  EXPECT_EQ(found("none\\x.h"), "-1");
  EXPECT_EQ(found(""), "-1");
  EXPECT_EQ(kindOfPath("SUB"), pathIsDirectory);
  EXPECT_EQ(kindOfPath("SUB\\defs.h"), pathIsFile);
  EXPECT_EQ(kindOfPath("none\\defs.h"), pathMissing);
  EXPECT_EQ(openForReading(std::string(100000, 'x').c_str()), openFailed) << GetLastError();
}

TEST_F(Files, ReadsAndSeeks) {
  make("a.c", "0123456789");
  const int handle = openForReading("a.c");
  ASSERT_GE(handle, 0);
  EXPECT_EQ(sizeOfFile(handle), 10);
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
  EXPECT_EQ(sizeOfFile(handle), -1);
}

TEST_F(Files, HandlesHaveALimit) {
  make("a.c", "x");
  std::vector<int> handles;
  for (int handle; (handle = openForReading("a.c")) >= 0;) handles.push_back(handle);
  EXPECT_EQ(handles.size(), 200U);
  EXPECT_EQ(openForReading("a.c"), openTooManyFiles);
  EXPECT_EQ(createFile("b.i"), openTooManyFiles);
  closeFile(handles.back());
  EXPECT_EQ(found("a.c"), "x");
  handles.pop_back();
  for (const int handle : handles) closeFile(handle);
}

// The names that a pattern matches, with a blank after each.
std::string matchingNames(const char* pattern) {
  std::string names;
  FileMatches* all;
  if (findFiles(pattern, all) != filesFound) return "";
  while (const char* name = nextMatch(all)) names += std::string(name) + " ";
  closeMatches(all);
  return names;
}

// How many files there are in the present directory.
int fileCount() {
  int count = 0;
  for (const auto& entry : fs::directory_iterator(".")) count += entry.is_regular_file() ? 1 : 0;
  return count;
}

TEST_F(Files, OutputTakesItsNameWhenItIsWhole) {
  make("A.i", "a text that was there before");
  SetFileAttributesA("A.i", FILE_ATTRIBUTE_HIDDEN);
  const int handle = createFile("a.i");
  ASSERT_GE(handle, 0);
  EXPECT_TRUE(writeFile(handle, "new\n", 4));
  EXPECT_EQ(contents("a.i"), "a text that was there before");
  EXPECT_EQ(fileCount(), 2);
  EXPECT_EQ(finishCreatedFile(handle), finishDone);
  EXPECT_EQ(contents("a.i"), "new\n");
  EXPECT_EQ(fileCount(), 1);
  EXPECT_EQ(matchingNames("A.i"), "");
  removeCreatedFile();
  EXPECT_EQ(contents("a.i"), "new\n");
  SetFileAttributesA("a.i", FILE_ATTRIBUTE_NORMAL);

  const int second = createFile("sub.i");
  EXPECT_TRUE(writeFile(second, "text", 4));
  EXPECT_EQ(finishCreatedFile(second), finishDone);
  EXPECT_EQ(contents("sub.i"), "text");
  EXPECT_LT(createFile("none\\b.i"), 0);
  EXPECT_LT(createFile("."), 0);
  EXPECT_LT(createFile(""), 0);
  EXPECT_EQ(fileCount(), 2);
}

// What failed leaves neither its own text nor the one before.
TEST_F(Files, OutputThatFailedIsRemoved) {
  make("a.i", "before");
  for (const char* name : {"a.i", "b.i"}) {
    const int handle = createFile(name);
    EXPECT_TRUE(writeFile(handle, "half", 4));
    closeFile(handle);
    removeCreatedFile();
    EXPECT_EQ(fileCount(), 0);
  }
  const int device = createFile("nul");
  EXPECT_TRUE(writeFile(device, "text", 4));
  EXPECT_EQ(finishCreatedFile(device), finishDone);
  removeCreatedFile();
  EXPECT_EQ(fileCount(), 0);
}

// A second name of the file goes on to be one, and a program that has it open doesn't matter.
TEST_F(Files, OutputIsCopiedWhereItCannotBeReplaced) {
  make("a.i", "before");
  const bool linked = CreateHardLinkA("b.i", "a.i", nullptr);
  const HANDLE reader =
      CreateFileA("a.i", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, 0, nullptr);
  const int handle = createFile("a.i");
  ASSERT_GE(handle, 0);
  EXPECT_TRUE(writeFile(handle, "new", 3));
  EXPECT_EQ(finishCreatedFile(handle), finishDone);
  CloseHandle(reader);
  EXPECT_EQ(contents("a.i"), "new");
  if (linked) {
    EXPECT_EQ(contents("b.i"), "new");
  }
  EXPECT_EQ(fileCount(), linked ? 2 : 1);
}

// The new file goes elsewhere where its own name would be too long.
TEST_F(Files, OutputWithALongDirectory) {
  const std::string name = std::string(228, 'd') + "\\a.i";
  for (const char* before : {"", "before"}) {
    if (*before != 0)
      make(name, before);
    else
      fs::create_directories(fs::path(name).parent_path());
    const int handle = createFile(name.c_str());
    ASSERT_GE(handle, 0);
    EXPECT_TRUE(writeFile(handle, "new", 3));
    EXPECT_EQ(finishCreatedFile(handle), finishDone);
    EXPECT_EQ(contents(name), "new");
  }
  const int handle = createFile(name.c_str());
  closeFile(handle);
  removeCreatedFile();
  EXPECT_FALSE(fs::exists(name));
}

TEST_F(Files, SourceIsNoOutput) {
  make("a.c", "text");
  const int source = openForReading("a.c");
  closeFile(source);
  EXPECT_LT(createFile("A.C"), 0);
  EXPECT_EQ(contents("a.c"), "text");
  // One that is read after the output was begun.
  make("b.h", "header");
  const int output = createFile("b.h");
  closeFile(openForReading("B.H"));
  EXPECT_EQ(finishCreatedFile(output), finishRefused);
  removeCreatedFile();
  EXPECT_EQ(contents("b.h"), "header");
  EXPECT_EQ(fileCount(), 2);
}

// --- Search ---

TEST_F(Files, PatternsNameFiles) {
  for (const char* name : {"b.c", "A.C", "a1.cpp", "noext", "hidden.c", "system.c", "d.c/x", "sub/y.c"})
    make(name, "");
  ASSERT_TRUE(SetFileAttributesA("hidden.c", FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(matchingNames("*.c"), "A.C b.c system.c ");
  EXPECT_EQ(matchingNames("?1.C*"), "a1.cpp ");
  EXPECT_EQ(matchingNames("SUB\\*.C"), "y.c ");
  EXPECT_EQ(matchingNames("a.c"), "A.C ");
  EXPECT_EQ(matchingNames("noext"), "noext ");
  for (const char* pattern : {"d.c", "*.x", "none/*.c", "sub", "", "hidden.c"})
    EXPECT_EQ(matchingNames(pattern), "");
  SetFileAttributesA("hidden.c", FILE_ATTRIBUTE_NORMAL);
  EXPECT_FALSE(foldsFileNames("a.c"));
  EXPECT_FALSE(foldsFileNames("C:a.c"));
  // A drive that isn't there doesn't say that it keeps the case of names.
  EXPECT_TRUE(foldsFileNames("q:\\a.c"));
}

TEST_F(Files, MatchesAreFetchedBeforeTheyAreUsed) {
  for (const char* name : {"a.c", "b.c"}) make(name, "");
  FileMatches* all;
  ASSERT_EQ(findFiles("*.*", all), filesFound);
  int count = 0;
  while (const char* name = nextMatch(all)) {
    make(std::string(name) + ".i", "");
    ++count;
  }
  closeMatches(all);
  EXPECT_EQ(count, 2);
}

// --- Texts ---

std::string textOf(int id, size_t size = 200) {
  std::string text(size, '?');
  text.resize(loadString(id, text.data(), size));
  return text;
}

// The catalogue as its source has it.
const std::map<int, std::string> catalogue = {
#define MESSAGE(id, name, text) {id, text},
#include "diag/messages.def"
#undef MESSAGE
};

TEST(Texts, ProgramHoldsTheWholeCatalogue) {
  for (const auto& [id, text] : catalogue) EXPECT_EQ(textOf(id, 0x1000), text) << id;
  EXPECT_EQ(textOf(5000), "");
  EXPECT_EQ(textOf(224, 8), "E2209 U");
}

TEST(Texts, LanguageLibrary) {
  EXPECT_FALSE(openStringLibrary("vsp32.XYZ"));
  make("text.DEU", "no library");
  EXPECT_FALSE(openStringLibrary("text.DEU"));
  fs::remove("text.DEU");
  ASSERT_TRUE(openStringLibrary("vsp32.DEU"));
  EXPECT_EQ(textOf(224),
            "E2209 Include-Datei '%s' kann nicht ge\xF6"
            "ffnet werden");
  EXPECT_EQ(textOf(5000), "");
  // Every text of the catalogue has its place in the library.
  for (const auto& [id, text] : catalogue) EXPECT_EQ(textOf(id).empty(), text.empty()) << id;
  char text[] = "\xE4\xDF";
  toConsoleCharset(text);
  EXPECT_STREQ(text, "\x84\xE1");
  closeStringLibrary();
  EXPECT_EQ(textOf(224), "E2209 Unable to open include file '%s'");
}

TEST(Texts, ProgramHasAPlaceForLanguages) {
  char stem[256];
  char program[256];
  ASSERT_TRUE(programPath(program, sizeof program));
  ASSERT_EQ(std::string(program).substr(1, 2), ":\\");
  const size_t length = languageStem(stem, sizeof stem);
  EXPECT_EQ(std::string(stem, length) + "exe", program);
  EXPECT_FALSE(programPath(program, 5));
  EXPECT_EQ(languageStem(stem, 5), 0U);
}

// --- Locale ---

TEST(Locale, RegistryValues) {
  const char* const path = "Software\\Vestrel\\Locales";
  RegDeleteKeyA(HKEY_CURRENT_USER, path);
  EXPECT_STREQ(configuredLocale("c:\\x.exe").text, "");
  HKEY key;
  ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            0);
  const auto set = [key](const char* name, const char* value) {
    RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value), DWORD(std::strlen(value) + 1));
  };
  EXPECT_STREQ(configuredLocale("c:\\x.exe").text, "");
  set(nullptr, "DEU");
  set("c:\\own.exe", "abcd");
  set("c:\\long.exe", "abcde");
  EXPECT_STREQ(configuredLocale("c:\\x.exe").text, "DEU");
  EXPECT_STREQ(configuredLocale("C:\\OWN.EXE").text, "abcd");
  EXPECT_STREQ(configuredLocale("c:\\long.exe").text, "DEU");
  RegCloseKey(key);
  RegDeleteKeyA(HKEY_CURRENT_USER, path);
}

TEST(Locale, OfTheThread) {
  EXPECT_STREQ(localeLanguage().text, "ENU");
  ASSERT_TRUE(SetThreadLocale(MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT)));
  EXPECT_STREQ(localeLanguage().text, "DEU");
  SetThreadLocale(LOCALE_USER_DEFAULT);
  EXPECT_EQ(systemCodePage(), 1252U);
}

TEST(Locale, CodePages) {
  EXPECT_TRUE(isLeadByteOf(932, 0x81));
  EXPECT_TRUE(isLeadByteOf(936, 0xFE));
  EXPECT_FALSE(isLeadByteOf(932, 0xA1));
  EXPECT_FALSE(isLeadByteOf(1252, 0xE4));
  const auto wide = [](uint32_t codePage, const char* text) {
    uint16_t result[5] = {};
    const int count = toWideChars(codePage, asBytes(text), int(std::strlen(text)), result, 5);
    return count == 1 ? int{result[0]} : -count;
  };
  EXPECT_EQ(wide(1252, "\x80"), 0x20AC);
  EXPECT_EQ(wide(437, "\x81"), 0xFC);
  EXPECT_EQ(wide(932, "\x82\xA0"), 0x3042);
  EXPECT_EQ(wide(1252, "abcdef"), 0);
  EXPECT_EQ(wide(1252, "ab"), -2);
}

TEST(Clock, LocalTime) {
  const LocalTime now = localTimeOf(timeNow());
  SYSTEMTIME system;
  GetLocalTime(&system);
  EXPECT_NEAR(now.year + 1900, system.wYear, 1);
  EXPECT_TRUE(now.month >= 0 && now.month <= 11 && now.day >= 1 && now.day <= 31);
}

TEST(Guid, ParsedByTheSystem) {
  const auto parse = [](const char* text, Byte result[16]) {
    std::vector<uint16_t> characters(text, text + std::strlen(text) + 1);
    return parseGuid(characters.data(), result);
  };
  Byte bytes[16] = {};
  EXPECT_EQ(parse("{00112233-4455-6677-8899-aAbBcCdDeEfF}", bytes), 0);
  const Byte expected[16] = {0x33, 0x22, 0x11, 0,    0x55, 0x44, 0x77, 0x66,
                             0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
  EXPECT_EQ(std::memcmp(bytes, expected, 16), 0);
  EXPECT_NE(parse("{00112233-4455-6677-8899-aAbBcCdDeEf}", bytes), 0);
  EXPECT_NE(parse("00112233-4455-6677-8899-aAbBcCdDeEfF", bytes), 0);
}

// --- The component ---

// Calls the component that stands under the name `file` for the length of the call.
std::string callComponent(const char* file, bool& loaded, int& result) {
  if (file != nullptr) fs::copy_file(file, "tlbreader.dll", fs::copy_options::overwrite_existing);
  static char name[importNameLimit + 1];
  loaded = readTypeLibrary("c:\\x.tlb", "a , b ", name, result);
  std::error_code ignored;
  fs::remove("tlbreader.dll", ignored);
  return name;
}

TEST(Component, IsCalledInEitherConvention) {
  putenv("TLB_LOG=tlb.log");
  putenv("TLB_RESULT=3");
  putenv("TLB_NAME=types.tlh");
  bool loaded = false;
  int result = 0;
  for (const char* file : {"cdeclReader.dll", "stdcallReader.dll", "cdeclReader.dll"}) {
    EXPECT_EQ(callComponent(file, loaded, result), "types.tlh");
    EXPECT_TRUE(loaded);
    EXPECT_EQ(result, 3);
    EXPECT_EQ(contents("tlb.log"), "c:\\x.tlb|a , b |0\r\n") << file;
    fs::remove("tlb.log");
  }
  callComponent("otherReader.dll", loaded, result);
  EXPECT_FALSE(loaded);
  callComponent(nullptr, loaded, result);
  EXPECT_FALSE(loaded);
}

// --- Faults ---

[[gnu::noinline]] int useUp(int depth) {
  volatile char room[4000];
  room[0] = char(depth);
  return depth < 0 ? 0 : useUp(depth + 1) + room[0];
}

void overflow(void*) {
  useUp(0);
}

// An overflow goes to the innermost guard, again and again, and code of the x87 computes as before.
TEST(Faults, StackOverflowIsCaughtAgainAndAgain) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(runWithStackGuard(overflow, nullptr));
    volatile long double third = 1.0L;
    third = third / 3;
    EXPECT_NE(double(third * 3 - 1) + double(third - double(third)), 0.0);
  }
  bool returned = false;
  EXPECT_TRUE(runWithStackGuard([](void* flag) { *static_cast<bool*>(flag) = true; }, &returned));
  EXPECT_TRUE(returned);
}

TEST(Faults, GuardsNestAndMayBeJumpedOver) {
  static int caught;
  caught = 0;
  EXPECT_TRUE(runWithStackGuard(
      [](void*) {
        if (!runWithStackGuard(overflow, nullptr)) ++caught;
        if (!runWithStackGuard(overflow, nullptr)) ++caught;
      },
      nullptr));
  EXPECT_EQ(caught, 2);
  // A fatal error leaves the guarded call by longjmp; the guard outside is then the innermost.
  EXPECT_FALSE(runWithStackGuard(
      [](void*) {
        static jmp_buf target;
        if (setjmp(target) == 0) runWithStackGuard([](void*) { longjmp(target, 1); }, nullptr);
        overflow(nullptr);
      },
      nullptr));
}

void endWithPlace(const FaultRecord& record) {
  const uintptr_t base = reinterpret_cast<uintptr_t>(GetModuleHandleA(nullptr));
  endProcessNow(record.base == base && record.address - base < 0x1000000 ? 7 : 8);
}

TEST(Faults, FilterIsToldOfFaults) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        installFaultFilter(endWithPlace);
        *reinterpret_cast<volatile int*>(4) = 1;
      },
      testing::ExitedWithCode(7), "");
  EXPECT_EXIT(
      {
        installFaultFilter(endWithPlace);
        volatile int zero = 0;
        zero = 100 / zero;
      },
      testing::ExitedWithCode(7), "");
  // Within a guard, which takes the overflow alone; and an overflow outside any guard.
  EXPECT_EXIT(
      {
        installFaultFilter(endWithPlace);
        runWithStackGuard([](void*) { *reinterpret_cast<volatile int*>(4) = 1; }, nullptr);
      },
      testing::ExitedWithCode(7), "");
  EXPECT_EXIT(
      {
        installFaultFilter(endWithPlace);
        overflow(nullptr);
      },
      testing::ExitedWithCode(7), "");
}

// A fault in the filter comes to the filter again.
TEST(Faults, FaultsInTheFilterAreFaultsToo) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        installFaultFilter([](const FaultRecord&) {
          static int depth = 0;
          if (++depth < 3) *reinterpret_cast<volatile int*>(4) = 1;
          endProcessNow(10 + depth);
        });
        *reinterpret_cast<volatile int*>(4) = 1;
      },
      testing::ExitedWithCode(13), "");
}

TEST(Faults, NoticesAreNoFaults) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        installFaultFilter(endWithPlace);
        RaiseException(0xC0010005, 0, 0, nullptr);
        endProcessNow(9);
      },
      testing::ExitedWithCode(9), "");
}

}  // namespace
