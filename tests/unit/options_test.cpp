// The forms of all switches: which are accepted, which refused, and what each one
// sets. The settings are compared as a text of the fields that differ from their
// defaults, so a row that writes the wrong field shows as well.

#include <string>

#include "../check.h"
#include "diag/report.h"
#include "options/search_lists.h"
#include "options/defines.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "options/options.h"
#include "diag/warnings.h"

namespace {

// A form and what it does: the fields changed, in the form of changedFields.
struct Form {
  const char* text;
  const char* changed;
};

// Puts the defaults in force by a start without switches, in an empty directory.
class Options : public testing::Test {
 protected:
  static void SetUpTestSuite() { memoryStart(); }
  static void TearDownTestSuite() { memoryStop(); }

  void SetUp() override {
    before_ = std::filesystem::current_path();
    std::filesystem::current_path(scratch_.path());
    reset();
  }
  void TearDown() override {
    reset();
    std::filesystem::current_path(before_);
  }

  static void reset() {
    char program[] = "vsp32";
    char* argv[] = {program, nullptr};
    clearSearchLists();
    clearCommandDefines();
    optionBootstrap(argv, 1);
    resetCounters();
  }

  ScratchDirectory scratch_;
  std::filesystem::path before_;
};

std::string changedFields() {
  const OptionImage& o = optionImage;
  std::string text;
  const auto number = [&](const char* name, uint32_t value, uint32_t normal) {
    if (value != normal) text += (text.empty() ? "" : " ") + std::string(name) + "=" + std::to_string(value);
  };
  const auto string = [&](const char* name, const char* value, const char* normal) {
    const std::string shown = value != nullptr ? value : "(none)";
    if (shown != normal) text += (text.empty() ? "" : " ") + std::string(name) + "=" + shown;
  };
  number("processor", o.processor, 3);
  number("lineInfo", o.lineInfo, 1);
  number("outputFlags", o.outputFlags, 0);
  number("showDefines", o.showDefines, 0);
  number("keepOutput", o.keepOutput, 0);
  number("languageLevel", o.languageLevel, 0);
  number("unsignedChar", o.unsignedChar, 0);
  number("nestedComments", o.nestedComments, 0);
  number("errorLimit", messageLimits.errors, 25);
  number("warningLimit", messageLimits.warnings, 100);
  number("maxIdentLength", o.maxIdentLength, 250);
  number("callConvention", o.callConvention, 0);
  number("threadedApp", o.threadedApp, 0);
  number("viaAssembler", o.viaAssembler, 0);
  number("underscores", o.underscores, 1);
  string("outputDirectory", o.outputDirectory, "");
  string("outputFile", o.outputFile, "(none)");
  number("includeGiven", o.includeGiven, 0);
  number("forceCplusplus", o.forceCplusplus, 0);
  number("appKind", o.appKind, 0);
  number("runtimeKind", o.runtimeKind, 1);
  number("batchFlags", o.batchFlags, 0);
  number("exceptions", o.exceptions, 1);
  number("memWard", uint32_t(o.memWardFlags[0] * 100 + o.memWardFlags[1] * 10 + o.memWardFlags[2]), 0);
  number("mfcCompat", o.mfcCompat, 0);
  number("codePage", o.codePage, 0);
  number("unicodeApp", o.unicodeApp, 0);
  number("searchIncluders", o.searchIncluders, 1);
  number("packageFlags", o.packageFlags, 0);
  string("extension", defaultExtension, ".cpp");
  return text;
}

// Several switches, one after the other, with what they set together.
constexpr Form effectiveForms[] = {{"", ""},
                                   {"A", "languageLevel=1"},
                                   {"A+", "languageLevel=1"},
                                   {"AU", "languageLevel=2"},
                                   {"AK", "languageLevel=3"},
                                   {"AU AT", ""},
                                   {"AK A-", ""},
                                   {"3-", "processor=0"},
                                   {"4", "processor=4"},
                                   {"5", "processor=5"},
                                   {"6", "processor=6"},
                                   {"6 3", ""},
                                   {"C", "nestedComments=1"},
                                   {"C+", "nestedComments=1"},
                                   {"C C-", ""},
                                   {"CP932x", "codePage=932"},
                                   {"K", "unsignedChar=1"},
                                   {"K+ K-", ""},
                                   {"p", "callConvention=1"},
                                   {"pr", "callConvention=2"},
                                   {"ps", "callConvention=3"},
                                   {"pm", "callConvention=4"},
                                   {"pm pm-", ""},
                                   {"pr pr-", ""},
                                   {"ps pc", ""},
                                   {"p p-", ""},
                                   {"u-", "underscores=0"},
                                   {"u- u+", ""},
                                   {"vG", "memWard=111"},
                                   {"vGd", "memWard=100"},
                                   {"vGt", "memWard=10"},
                                   {"vGc+", "memWard=1"},
                                   {"vG vGt-", "memWard=101"},
                                   {"vG1x", "memWard=100"},
                                   {"vG vG2", "memWard=110"},
                                   {"vG3", "memWard=111"},
                                   {"vG vG0x", ""},
                                   {"vG vG-x", ""},
                                   {"v", ""},
                                   {"v-", ""},
                                   {"v4", ""},
                                   {"nout", "outputDirectory=out"},
                                   {"n", ""},
                                   {"oa\"b\"c", "outputFile=abc"},
                                   {"o", "outputFile="},
                                   {"g0", "warningLimit=0"},
                                   {"g255", "warningLimit=255"},
                                   {"j7x", "errorLimit=7"},
                                   {"gb", "batchFlags=2"},
                                   {"jb", "batchFlags=4"},
                                   {"w!", "batchFlags=1"},
                                   {"w! gb w!-", "batchFlags=2"},
                                   {"i8", "maxIdentLength=8"},
                                   {"i8 i0", ""},
                                   {"i250", ""},
                                   {"idl", "outputFlags=8"},
                                   {"tW", "appKind=1"},
                                   {"tW tW-", ""},
                                   {"tWM", "threadedApp=1"},
                                   {"tWM tWM-", ""},
                                   {"tWU", "unicodeApp=1"},
                                   {"tWD", "appKind=2"},
                                   {"tWDE", "appKind=5"},
                                   {"tWE", "appKind=3"},
                                   {"tWED", "appKind=5"},
                                   {"tWV", "appKind=1 packageFlags=1"},
                                   {"tWE tWVR", "appKind=3 packageFlags=3"},
                                   {"tWDR", "appKind=2 packageFlags=2"},
                                   {"tWDEV", "appKind=5 packageFlags=1"},
                                   {"tWERV", "appKind=3 packageFlags=3"},
                                   {"tWP", "appKind=1 packageFlags=5"},
                                   {"tWPRV", "appKind=1 packageFlags=7"},
                                   {"tWD tWP", "appKind=2 packageFlags=5"},
                                   {"tWE tWC", ""},
                                   {"tWC-", "appKind=1"},
                                   {"tW tWCD", "runtimeKind=2"},
                                   {"tWCDE", "runtimeKind=3"},
                                   {"tWCDE tWCV", "packageFlags=1"},
                                   {"tW tWCDR", "runtimeKind=2 packageFlags=2"},
                                   {"tWCDEVR", "runtimeKind=3 packageFlags=3"},
                                   {"tCDE", "runtimeKind=3"},
                                   {"tC-", "appKind=1"},
                                   {"WE", "appKind=3"},
                                   {"W", "appKind=1"},
                                   {"WCD", "runtimeKind=2"},
                                   {"tW tDd", "runtimeKind=2"},
                                   {"tDde", "runtimeKind=3"},
                                   {"tW tDde tDi", ""},
                                   {"B", "viaAssembler=1"},
                                   {"B B-", ""},
                                   {"S-", "lineInfo=0"},
                                   {"S- S", ""},
                                   {"Sc", "outputFlags=1"},
                                   {"Sr Ss", "outputFlags=6"},
                                   {"Sg", "outputFlags=16"},
                                   {"Sd", "showDefines=1"},
                                   {"Sk", "keepOutput=1"},
                                   {"Sz", ""},
                                   {"S+", ""},
                                   {"P-", "lineInfo=0"},
                                   {"P- P", ""},
                                   {"Pc", "forceCplusplus=1 extension=.c"},
                                   {"Pcpp P-c", "extension=.c"},
                                   {"P.h", "forceCplusplus=1 extension=.h"},
                                   {"Pabcd", "forceCplusplus=1 extension=.abc"},
                                   {"P-.abcd", "extension=.abc"},
                                   {"P.", "lineInfo=0 forceCplusplus=1"},
                                   {"Pc P-.", "lineInfo=0 extension=.c"},
                                   {"VF", "mfcCompat=4"},
                                   {"VF+", "mfcCompat=4"},
                                   {"VF3", "mfcCompat=3"},
                                   {"VF4 VF-", ""},
                                   {"VI-", "searchIncluders=0"},
                                   {"VI- VI", ""},
                                   {"x-", "exceptions=0"},
                                   {"x- x", ""},
                                   {"xd-", "exceptions=0"},
                                   {"x- xd", ""},
                                   // The second look has nothing to do with the search lists.
                                   {"Ia;b", ""},
                                   {"Lc", ""}};

// Forms whose value nothing reads; they must stay valid.
constexpr const char* storedForms =
    "f fanything r r+ r- rd zD zGx zB\"a\" zC zP zA zR zS zT G G- G-x N N+ N- Z b k y Q X c c- "
    "O Ox T l s J H H\"x\" q qx a a8 a16 a1 a2 a4 a- d d- dc dc- df df- vi vi- vo+ vu v- "
    "R R- RT RT- = =- =x =v =b =c =t =m =i =d =V =o =C =n =l =P =e =s =g =R =I =M =p =p- "
    "E Ex M M+ M- e ex V V0 V1 Vs Vv Vp- Vc Va Vt Ve VC V? Vd Vx V! Vl+ Vmd Vms Vmm Vmv Vmp Vmp- "
    "Vo Vo+ Vo- VM xds xds- xp xf- xs xv w w- wxyz w1234 wDUP w8088 w+dup wdupfoo";

constexpr const char* refusedForms =
    ". Y 2 7 A. A+x AKx AX a. a3 a16x a1x a+ r. rx rdx z zE zd 3+ 4x 6. C. C-x CP CPx G+ Gx K. Kx K+x N. Nx "
    "b-x c. d+ dx df+ df-x dcx p+ px pcx pr+ pmx psx u. v+ vx v4x vG+ vGx vGdx v. v-x "
    "g g-1 g256 g99999999999 gx gbx j j- j256 jbb i i7 i251 i-1 ix id idlx i4294967304 "
    "t tX tWx tWRR tWVRV tWVx tWPX tWPRR tWEDV tWDEx tWD- tWC-x tWCx tWCVV tWMx tD tDx tDdx tDdex tDix t. "
    "W. WX R+ Rx RTx =z =pp =xx =-x B. Bx M-x M. Scd S-x S. S.. Sr. "
    "V2 Vz V. V+ Vm Vmx Vmdx Vox Vo-x Vo. VMx VF5 VF3x VIx Vvx x. x+ xx xd+ xdx xdsx xvx xp. w. w!x w!-x w!.";

// The words of a list.
std::vector<std::string> words(const std::string& list) {
  std::vector<std::string> result;
  std::string word;
  for (const char c : list + " ") {
    if (c != ' ') {
      word += c;
    } else if (!word.empty()) {
      result.push_back(word);
      word.clear();
    }
  }
  return result;
}

TEST_F(Options, EffectiveFormsWriteTheirFields) {
  for (const Form& form : effectiveForms) {
    reset();
    for (const std::string& word : words(form.text))
      EXPECT_TRUE(parseOption(secondLook, word.c_str())) << word << " in " << form.text;
    EXPECT_EQ(changedFields(), form.changed) << form.text;
  }
}

// A text with a blank can't be a word of the list above.
TEST_F(Options, TextsKeepTheirBlanksAndLoseTheirQuotes) {
  EXPECT_TRUE(parseOption(secondLook, "n\"a b\""));
  EXPECT_EQ(changedFields(), "outputDirectory=a b");
  const Form texts[] = {{"e\"a\"", "a"},   {"e\\\"a\\\"", "a"}, {"e\"a\\\"", "a"}, {"e\"", "\""},
                        {"e\\\"", "\\\""}, {"e\"a", "\"a"},     {"ea\"", "a\""},   {"e\"\"", ""}};
  for (const Form& text : texts) {
    EXPECT_TRUE(parseOption(secondLook, text.text));
    EXPECT_STREQ(optionImage.stored.linkerName, text.changed) << text.text;
  }
}

TEST_F(Options, StoredFormsAreAcceptedAndChangeNothingElse) {
  for (const std::string& word : words(storedForms)) {
    EXPECT_TRUE(parseOption(secondLook, word.c_str())) << word;
    EXPECT_EQ(changedFields(), "") << word;
    reset();
  }
}

TEST_F(Options, OtherFormsAreRefused) {
  testing::internal::CaptureStdout();
  for (const std::string& word : words(refusedForms))
    EXPECT_FALSE(parseOption(secondLook, word.c_str())) << word;
  EXPECT_FALSE(parseOption(secondLook, ""));
  EXPECT_FALSE(parseOption(secondLook, "\xFF"));
  EXPECT_FALSE(parseOption(secondLook, "tWC\xFF"));
  EXPECT_NE(testing::internal::GetCapturedStdout().find("E2074"), std::string::npos);
}

TEST_F(Options, OnlySearchListsActOnTheFirstLook) {
  EXPECT_TRUE(parseOption(firstLook, "Y"));
  EXPECT_TRUE(parseOption(firstLook, "Ia;b"));
  EXPECT_EQ(changedFields(), "includeGiven=1");
  ASSERT_NE(includeDirs.first, nullptr);
}

// The remark on -xdg is shown and counts for nothing.
TEST_F(Options, ObsoleteSwitchIsNotCounted) {
  testing::internal::CaptureStdout();
  EXPECT_TRUE(parseOption(secondLook, "xdg-"));
  EXPECT_EQ(messageCount, 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Warning W8035: The -xdg switch is obsolete and only works with older libraries\n");
}

// The numbers of the warnings that are on after the switches in `list`.
std::string warningsAfter(const std::string& list) {
  resetWarnings();
  loadWarnings();
  for (const std::string& word : words(list))
    EXPECT_TRUE(parseOption(secondLook, ("w" + (word == "all" ? "" : word)).c_str()));
  std::string text;
  for (int i = 0; i < warningCount; ++i)
    if (warningOn[i]) text += std::to_string(8000 + i + (i >= 88)) + " ";
  return text;
}

TEST_F(Options, WarningsAreSwitchedByNameAndNumber) {
  EXPECT_EQ(warningsAfter("-"), "");
  EXPECT_EQ(warningsAfter("- dup"), "8017 ");
  EXPECT_EQ(warningsAfter("- dupfoo 80101"), "8010 8017 ");
  EXPECT_EQ(warningsAfter("- inl 8097 +onr"), "8026 8027 8097 ");
  EXPECT_EQ(warningsAfter("- stl -8091"), "8087 8089 8090 8092 ");
  EXPECT_EQ(warningsAfter("- DUP xyz 8088 1234 80 d"), "");
  const std::string all = warningsAfter("all");
  EXPECT_EQ(words(all).size(), 97u);
  EXPECT_EQ(words(warningsAfter("")).size(), 77u);
  EXPECT_EQ(warningsAfter("").find("8084"), std::string::npos);
}

// What the switches leave is where every later unit starts from.
TEST_F(Options, WarningsOfTheCommandLineStay) {
  char program[] = "vsp32", off[] = "-w-", on[] = "/wdup";
  char* argv[] = {program, off, on, nullptr};
  optionBootstrap(argv, 3);
  std::fill(warningOn, warningOn + warningCount, Byte(1));
  loadWarnings();
  EXPECT_EQ(std::count(warningOn, warningOn + warningCount, Byte(1)), 1);
  EXPECT_EQ(warningOn[17], 1);
}

// An absolute path is a file name where one exists, a switch where none does.
TEST_F(Options, SlashBeginsASwitchOrAPath) {
  // A name whose directory exists is a path, be it wrong or a pattern.
  for (const char* const name : {"a.c", "*.c", "gone"}) {
    const std::string path = (scratch_.path() / name).string();
    EXPECT_FALSE(isSwitchArgument(path.c_str())) << name;
    EXPECT_FALSE(isLateSwitch(path.c_str())) << name;
  }
  for (const char* const argument : {"/Idir", "/I/usr/include", "/DA=/b", "/v"})
    EXPECT_TRUE(isSwitchArgument(argument)) << argument;
  EXPECT_TRUE(isSwitchArgument("+a.cfg"));
  EXPECT_FALSE(isLateSwitch("+a.cfg"));
  EXPECT_TRUE(isLateSwitch("-v"));
}

}  // namespace
