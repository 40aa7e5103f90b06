// Numbers.
//
// The text of a number goes to the output as it stands; its value matters to the
// expressions of directives alone. So a number is scanned first, leniently: it
// ends at the first byte that does not fit, without a message, and the next
// token begins there. The conversion runs over the text afterwards.

#include "scanner/numbers.h"

#include <array>
#include <cmath>
#include <cstdlib>

#include "diag/report.h"
#include "input/frame.h"
#include "options/option_image.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/state.h"
#include "scanner/token_text.h"

// What scanNumber leaves for convertNumber.
static constinit Byte typeTag = tagInt;
static constinit Byte width = 0;
static constinit Byte floatTag = tagDouble;

// The number being scanned.
struct NumberScan {
  int radix;
  bool dots;    // a decimal point has been seen
  bool exps;    // an exponent has been seen
  bool tokens;  // tokens are made, not text copied

  bool isFloat() const { return dots || exps; }
};

// Takes a letter into the number: a mark that was read in mid-number belongs to
// no name.
static void takeLetter(Byte c) {
  tokenText.append(c);
  input.noExpandMark = false;
}

static bool isLetterOf(Byte c, Byte lower) {
  return lowerLetter(c) == lower;
}

// The width suffix after 'i', whose bytes are no part of the text. Returns the
// byte read after it.
static Byte scanWidthSuffix(bool isUnsigned) {
  input.noExpandMark = false;
  Byte c = nextChar();
  int bits = 0;
  const Byte first = c;
  const Byte second = first == '1' ? '6' : first == '3' ? '2' : '4';
  if (first == '8') {
    bits = 8;
    c = nextChar();
  } else if (first == '1' || first == '3' || first == '6') {
    c = nextChar();
    if (c == second) {
      bits = first == '1' ? 16 : first == '3' ? 32 : 64;
      c = nextChar();
    }
  }
  if (bits == 0 || isDigit(c)) {
    reportError(msgNumberSuffix);
    return c;
  }
  const Byte tag = bits == 8 ? tagChar : bits == 16 ? tagShort : bits == 32 ? tagLong : tagInt64;
  typeTag = Byte(tag + (isUnsigned ? 1 : 0));
  width = Byte(bits);
  return c;
}

// 'l' or 'u' after an integer; `c` has been read. Returns the byte read where
// the number stops; `finished` says that it ended with its last byte instead.
static Byte scanIntegerSuffix(Byte c, bool& finished) {
  takeLetter(c);
  const bool isLong = isLetterOf(c, 'l');
  typeTag = isLong ? tagLong : tagUnsignedInt;
  const Byte d = nextChar();
  if (isLetterOf(d, isLong ? 'u' : 'l')) {
    takeLetter(d);
    typeTag = tagUnsignedLong;
    finished = true;
    return d;
  }
  if (!isLong && isLetterOf(d, 'i')) return scanWidthSuffix(true);
  return d;
}

// A decimal point. The number goes on after it in any case; a wrong one is
// reported where tokens are made.
static void takePoint(NumberScan& scan) {
  if (!scan.isFloat()) {
    if (scan.radix == 16)
      reportError(msgMisplacedDecimalPoint);
    else
      scan.dots = true;
  } else if (scan.tokens) {
    if (scan.dots) reportError(msgTooManyDecimalPoints);
    if (scan.exps) reportError(msgMisplacedDecimalPoint);
  }
  scan.radix = 0;
  tokenText.append('.');
}

// What a byte may be in a number. Letters count in either case.
enum NumberByte : Byte {
  numberEnd,       // no part of any number
  octalDigit,      // 0 to 7
  highDigit,       // 8 and 9
  hexLetter,       // a to d
  exponentMark,    // e, a hexadecimal digit too
  floatSuffix,     // f, a hexadecimal digit too
  longSuffix,      // l
  unsignedSuffix,  // u
  widthSuffix,     // i
  decimalPoint
};

constexpr std::array<Byte, 256> numberBytes = [] {
  std::array<Byte, 256> table{};
  const auto set = [&](const char* bytes, NumberByte kind) {
    for (; *bytes != 0; ++bytes) table[Byte(*bytes)] = kind;
  };
  set("01234567", octalDigit);
  set("89", highDigit);
  set("abcdABCD", hexLetter);
  set("eE", exponentMark);
  set("fF", floatSuffix);
  set("lL", longSuffix);
  set("uU", unsignedSuffix);
  set("iI", widthSuffix);
  set(".", decimalPoint);
  return table;
}();

// 'e' in a number that is not hexadecimal. False where the number ends before it.
static bool takeExponent(NumberScan& scan) {
  if (scan.exps && scan.tokens) return false;
  scan.exps = true;
  scan.radix = 0;
  return true;
}

// A suffix after which a floating number ends: `tag` is its type.
static bool finishFloat(Byte c, Byte tag, bool& finished) {
  takeLetter(c);
  floatTag = tag;
  finished = true;
  return false;
}

// Takes `c`, which has been read. True if the number goes on with the next byte; else
// `c` is the byte to step back, unless `finished`.
static bool takeByte(NumberScan& scan, Byte& c, bool& finished) {
  const bool hexadecimal = scan.radix == 16;
  switch (numberBytes[c]) {
    case highDigit:
      if (scan.radix == 8 && scan.tokens) return false;
      [[fallthrough]];
    case octalDigit: tokenText.append(c); return true;
    case decimalPoint: takePoint(scan); return true;
    case exponentMark:
      if (!hexadecimal && !takeExponent(scan)) return false;
      takeLetter(c);
      return true;
    case hexLetter:
      if (hexadecimal) takeLetter(c);
      return hexadecimal;
    case floatSuffix:
      if (hexadecimal) {
        takeLetter(c);
        return true;
      }
      if (!scan.isFloat() && scan.tokens) return false;
      return finishFloat(c, tagFloat, finished);
    case longSuffix:
      if (scan.isFloat()) return finishFloat(c, tagLongDouble, finished);
      c = scanIntegerSuffix(c, finished);
      return false;
    case unsignedSuffix:
      if (!scan.isFloat()) c = scanIntegerSuffix(c, finished);
      return false;
    case widthSuffix: c = scanWidthSuffix(false); return false;
    default: return false;
  }
}

int scanNumber(Byte c) {
  typeTag = tagInt;
  width = 0;
  floatTag = tagDouble;
  NumberScan scan{10, false, false, scanner.activeClass == &tokenClass};
  if (c == '0') {
    tokenText.append(c);
    c = nextChar();
    if (isLetterOf(c, 'x')) {
      takeLetter(c);
      c = nextChar();
      scan.radix = 16;
    } else {
      scan.radix = 8;
    }
  }
  bool finished = false;
  while (takeByte(scan, c, finished)) c = nextChar();
  if (!finished) ungetChar();
  if (tokenText.end < tokenText.bytes + tokenTextSize) *tokenText.end = 0;
  return scan.isFloat() ? 0 : scan.radix;
}

// --- Values ---

// The value of a floating number. What the conversion cannot use, such as an 'e'
// without digits, is left out.
static TokenCode convertFloat() {
  long double value = std::strtold(asChars(tokenText.bytes), nullptr);
  if (floatTag == tagFloat) value = static_cast<long double>(static_cast<float>(value));
  if (floatTag == tagDouble) value = static_cast<long double>(static_cast<double>(value));
  if (optionImage.languageLevel == levelAnsi && std::isinf(value) && value > 0) {
    reportError(msgConstantTooLarge);
    value = 0;
  }
  tokenState.floating = FloatTokenValue{};
  bytesOfFloat(value, tokenState.floating.bytes);
  tokenState.floating.typeTag = floatTag;
  return tokFloatConst;
}

// Reads the digits into `value`; true if they need the 64-bit form. It is decided
// on the exact sum, before the value wraps.
static bool convertDigits(int radix, bool wide, uint64_t& value) {
  const bool strict = optionImage.languageLevel == levelAnsi;
  bool overflowSeen = false;
  value = 0;
  const Byte* text = tokenText.bytes + (radix == 16 ? 2 : 0);
  for (; hexValue(*text) >= 0; ++text) {
    const uint32_t digit = uint32_t(hexValue(*text));
    const uint32_t low = uint32_t(value);
    if (strict && !overflowSeen && low * uint32_t(radix) + digit < value) {
      reportError(msgConstantTooLarge);
      typeTag = tagUnsignedLong;
      overflowSeen = true;
    }
    if (!wide) {
      const uint64_t exact = value * uint64_t(radix) + digit;
      wide = exact > 0xFFFFFFFFU;
      value = exact;
    } else {
      value = value * uint64_t(radix) + digit;
    }
  }
  return wide;
}

TokenCode convertNumber(int radix) {
  tokenText.rewind();
  if (radix == 0) return convertFloat();
  uint64_t value;
  const bool wide = convertDigits(radix, width > 32, value);
  if (wide && (width == 0 || width > 32)) {
    const bool isUnsigned = typeTag == tagUnsignedInt64 || typeTag == tagUnsignedLong ||
                            typeTag == tagUnsignedInt || (value >> 63) != 0;
    tokenState.longInteger = {value, isUnsigned ? tagUnsignedInt64 : tagInt64, width};
    return tokLongConst;
  }
  uint32_t low = uint32_t(value);
  if (width != 0 && width < 32) low &= (1U << width) - 1;
  if ((typeTag == tagInt || typeTag == tagLong) && low > 0x7FFFFFFF) typeTag = tagUnsignedLong;
  tokenState.integer = {low, typeTag, width};
  return tokIntConst;
}
