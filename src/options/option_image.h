// The switches and settings of the program, as one block.
//
// The block is final when the command line and the configuration file have been
// read. It is saved whole when a translation unit starts and put back when it
// ends, so every unit starts from the same state.

#pragma once

#include <type_traits>

#include "base.h"

// Bits of OptionImage::outputFlags.
enum OutputFlag : Byte {
  keepCommentsFlag = 1,      // -Sc
  readableFlag = 2,          // -Sr
  headerStatisticsFlag = 4,  // -Ss
  idlFlag = 8,               // -idl
  guardDetailsFlag = 0x10    // -Sg
};

// Bits of OptionImage::batchFlags.
enum BatchFlag : Byte {
  failOnWarningFlag = 1,  // -w!
  stopOnWarningFlag = 2,  // -gb
  stopOnErrorFlag = 4     // -jb
};

// Bits of OptionImage::packageFlags.
enum PackageFlag : Byte {
  visualLibraryFlag = 1,   // V seen
  runtimeLibraryFlag = 2,  // R seen
  packageFlag = 4          // -tWP
};

// Values of OptionImage::languageLevel.
enum LanguageLevel : Byte { levelFamily = 0, levelAnsi = 1, levelUnix = 2, levelKR = 3 };

// Settings of the switches that this program accepts and stores, so that it
// reads the compiler's command lines and configuration files, and that have no
// effect on its output. Flags unless a comment says otherwise.
struct StoredSwitches {
  Byte registers;               // -r: 0, 1, 2
  Byte wordAlign;               // -a: 0, 2, 4, 8
  Byte optimize;                // -G: 0, 64
  Byte stringMerge;             // -d: 0, 1, 2
  bool stringConstants;         // -dc
  bool stackCheck;              // -N
  bool registerReload;          // -Z
  bool intEnums;                // -b
  bool standardFrame;           // -k
  bool lineNumbers;             // -y
  bool autoConvert;             // -Q
  bool noAutoregister;          // -X
  bool compileOnly;             // -c
  Byte debugInfo[3];            // -v: 0, 1, and 4 for -v4
  bool inlineExpand;            // -vi
  bool debugOptions[2];         // -vo, -vu
  bool browserInfo;             // -R
  bool browserText;             // -RT
  bool mapFile[3];              // -M; the third is inverse
  Byte virtualTables;           // -V: 0 to 3
  Byte memberPointers;          // -Vm: 0 to 3
  bool memberPrecision;         // -Vmp
  bool oldObjects[7];           // -Vv, -Vp, -Vc, -Vt, -Vd, -Vx and one more: all that -Vo turns on
  bool oldLanguage[6];          // -Va, -Ve, -VC, -V?, -V!, -Vl
  bool exceptionData;           // -x, next to OptionImage::exceptions
  bool exceptionKind[5];        // -xds, -xdg, -xp, -xf, -xs
  bool trace[22];               // the letters of -=, in the order of their rows; last -= itself
  const char* segmentNames[9];  // -z; null if not given
  const char* assembler;        // -E
  const char* linkerName;       // -e; null if not given
};

// How many characters of a name count, and the most that -i can ask for.
constexpr Byte defaultIdentLimit = 250;

struct OptionImage {
  Byte processor;               // 3 to 6, 0 for none
  bool lineInfo;                // markers as comments; 0: #line lines
  Byte outputFlags;             // OutputFlag bits
  bool showDefines;             // -Sd
  bool keepOutput;              // -Sk
  Byte languageLevel;           // LanguageLevel
  bool unsignedChar;            // -K
  bool nestedComments;          // -C
  Byte maxIdentLength;          // -i, 8 to defaultIdentLimit
  Byte callConvention;          // -p family, 0 to 4
  bool threadedApp;             // -tWM
  bool viaAssembler;            // -B
  bool underscores;             // -u
  const char* outputDirectory;  // -n, empty if not given
  const char* outputFile;       // -o, null if not given
  bool includeGiven;            // any -I
  bool forceCplusplus;          // -P with an extension; for one unit, a .cpp name
  Byte appKind;                 // -tW family
  Byte runtimeKind;             // -tWC and -tD families
  Byte batchFlags;              // BatchFlag bits
  bool exceptions;              // -xd
  bool memWardFlags[3];         // -vG family
  Byte mfcCompat;               // -VF: 0, 3, 4
  uint32_t codePage;            // -CP, 0 for the system's
  bool unicodeApp;              // -tWU
  bool searchIncluders;         // -VI
  Byte packageFlags;            // PackageFlag bits
  StoredSwitches stored;
};

// The compiler's own block has 278 bytes, for one more copy of most settings. No
// file and no other program sees ours, so it holds each of them once.
static_assert(std::is_trivially_copyable_v<OptionImage>, "it is copied whole around each unit");
static_assert(sizeof(OptionImage) == (sizeof(void*) == 8 ? 216 : 156));

extern OptionImage optionImage;

// The copy taken when a unit starts; all 0 before the first unit.
extern OptionImage optionSave;

// True while this unit is C++.
extern bool cplusplusMode;

// Block comments reach the output: -Sc or -Sr.
inline bool keepComments() {
  return (optionImage.outputFlags & (keepCommentsFlag | readableFlag)) != 0;
}

// "//" begins a comment in this unit.
inline bool lineCommentsAllowed() {
  return cplusplusMode || optionImage.languageLevel == levelFamily;
}
