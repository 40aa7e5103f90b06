// Double-byte character sets, and the way from bytes to 16-bit characters.
//
// Code pages 437, 1252, 28591 (Latin-1) and 65001 (UTF-8) are converted here,
// so that they work on any host and cost nothing; all others go through the
// host's converter, which is opened once for the code page used last.

#include "platform/code_page.h"

#include <errno.h>
#include <fcntl.h>
#include <iconv.h>
#include <unistd.h>

#include <array>
#include <cstdio>

constexpr uint32_t latin1 = 28591;
constexpr uint32_t utf8 = 65001;

// Characters 0x80 to 0xFF of code page 437.
constexpr std::array<uint16_t, 128> oemCharacters = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x2561, 0x2562, 0x2556, 0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x2567, 0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, 0x256A, 0x2518, 0x250C,
    0x2588, 0x2584, 0x258C, 0x2590, 0x2580, 0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229, 0x2261, 0x00B1, 0x2265, 0x2264, 0x2320,
    0x2321, 0x00F7, 0x2248, 0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0};
static_assert(oemCharacters[0x81 - 0x80] == 0xFC && oemCharacters[0xE1 - 0x80] == 0xDF &&
              oemCharacters[127] == 0xA0);

// Characters 0x80 to 0x9F of code page 1252; those above are Latin-1, and a
// byte that has no character stands for the control character of its number.
constexpr std::array<uint16_t, 32> ansiCharacters = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
static_assert(ansiCharacters[0] == 0x20AC && ansiCharacters[1] == 0x81 && ansiCharacters[31] == 0x178);

bool isLeadByteOf(uint32_t codePage, Byte byte) {
  const auto isBetween = [byte](int first, int last) { return byte >= first && byte <= last; };
  switch (codePage) {
    case 932: return isBetween(0x81, 0x9F) || isBetween(0xE0, 0xFC);
    case 936:
    case 949:
    case 950: return isBetween(0x81, 0xFE);
    case 1361: return isBetween(0x84, 0xD3) || isBetween(0xD8, 0xDE) || isBetween(0xE0, 0xF9);
    default: return false;
  }
}

// The character of a byte in one of the single-byte sets known here.
static uint16_t singleByteCharacter(uint32_t codePage, Byte byte) {
  if (byte < 0x80 || codePage == latin1) return byte;
  if (codePage == 437) return oemCharacters[byte - 0x80u];
  return byte < 0xA0 ? ansiCharacters[byte - 0x80u] : byte;
}

// Reads a UTF-8 sequence of up to `count` bytes: its length, with its character
// in `character`, or 0 if it is not well formed.
static int readUtf8(const Byte* text, int count, uint32_t& character) {
  const Byte first = text[0];
  const int length = first < 0x80   ? 1
                     : first < 0xC2 ? 0
                     : first < 0xE0 ? 2
                     : first < 0xF0 ? 3
                     : first < 0xF5 ? 4
                                    : 0;
  if (length == 0 || length > count) return 0;
  character = length == 1 ? first : first & (0x7Fu >> length);
  for (int i = 1; i < length; ++i) {
    if ((text[i] & 0xC0) != 0x80) return 0;
    character = character << 6 | (text[i] & 0x3Fu);
  }
  const bool tooLong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  return tooLong || surrogate || character > 0x10FFFF ? 0 : length;
}

// Converts UTF-8. A byte that belongs to no well-formed sequence is the
// character of its own number: '\xE9' is then the same in every Western set.
static int utf8ToWide(const Byte* text, int count, uint16_t* result, int limit) {
  int stored = 0;
  for (int i = 0; i < count;) {
    uint32_t character = text[i];
    const int length = readUtf8(text + i, count - i, character);
    if (length == 0) character = text[i];
    i += length == 0 ? 1 : length;
    if (stored + (character > 0xFFFF ? 2 : 1) > limit) return 0;
    if (character > 0xFFFF) {
      character -= 0x10000;
      result[stored++] = uint16_t(0xD800 + (character >> 10));
      character = 0xDC00 + (character & 0x3FF);
    }
    result[stored++] = uint16_t(character);
  }
  return stored;
}

// Opens the host's converter from `codePage`; (iconv_t)-1 if it has none.
static iconv_t openConverter(uint32_t codePage) {
  const char* name = nullptr;
  char numbered[24];
  switch (codePage) {
    case 1361: name = "JOHAB"; break;
    case 20866: name = "KOI8-R"; break;
    case 20932:
    case 51932: name = "EUC-JP"; break;
    case 21866: name = "KOI8-U"; break;
    case 54936: name = "GB18030"; break;
    default:
      if (codePage > latin1 && codePage <= latin1 + 15)
        std::snprintf(numbered, sizeof numbered, "ISO-8859-%u", codePage - latin1 + 1);
      else
        std::snprintf(numbered, sizeof numbered, "CP%u", codePage);
      name = numbered;
  }
  return iconv_open("UTF-16LE", name);
}

// True if some descriptors are left. A converter is read from files; where they
// can't be opened, the host takes it for missing, and does so for the rest of the run.
static bool descriptorsLeft() {
  int handles[4];
  int opened = 0;
  bool left = true;
  for (int& handle : handles) {
    handle = open("/", O_RDONLY | O_CLOEXEC);
    left = handle >= 0 || (errno != EMFILE && errno != ENFILE);
    if (handle < 0) break;
    ++opened;
  }
  for (int i = 0; i < opened; ++i) close(handles[i]);
  return left;
}

// Converts through the host.
static int hostToWide(uint32_t codePage, const Byte* text, int count, uint16_t* result, int limit) {
  const iconv_t none = reinterpret_cast<iconv_t>(-1);
  static constinit uint32_t openPage = 0;  // that `converter` is for
  static iconv_t converter = none;
  if (openPage != codePage) {
    if (!descriptorsLeft()) return convertNoDescriptor;
    if (converter != none) iconv_close(converter);
    openPage = 0;
    converter = openConverter(codePage);
    if (converter == none && errno == ENOMEM) return convertNoMemory;
    openPage = codePage;
  }
  if (converter == none) return 0;
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  // The interface wants the input writable, though it does not write to it.
  char* from = const_cast<char*>(reinterpret_cast<const char*>(text));
  char* to = reinterpret_cast<char*>(result);
  size_t fromLeft = size_t(count);
  size_t toLeft = size_t(limit) * sizeof(uint16_t);
  if (iconv(converter, &from, &fromLeft, &to, &toLeft) == size_t(-1)) return 0;
  return limit - int(toLeft / sizeof(uint16_t));
}

int toWideChars(uint32_t codePage, const Byte* text, int count, uint16_t* result, int limit) {
  if (count <= 0 || limit <= 0) return 0;
  if (codePage == utf8) return utf8ToWide(text, count, result, limit);
  if (codePage != 437 && codePage != 1252 && codePage != latin1)
    return hostToWide(codePage, text, count, result, limit);
  if (count > limit) return 0;
  for (int i = 0; i < count; ++i) result[i] = singleByteCharacter(codePage, text[i]);
  return count;
}
