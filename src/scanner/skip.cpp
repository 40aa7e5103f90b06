// Blanks, comments and the rests of lines.
//
// Comments are searched for their ends in runs; whatever is counted or written on
// the way (line ends, the text of kept comments) goes byte by byte.

#include "scanner/skip.h"

#include "diag/position.h"
#include "diag/report.h"
#include "input/frame.h"
#include "input/macro_text.h"
#include "options/lead_bytes.h"
#include "options/option_image.h"
#include "output/output.h"
#include "scanner/byte_search.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

bool passSplice() {
  const Byte c = nextChar();
  if (isLineEnd(c)) {
    countNewline(c);
    return true;
  }
  ungetChar();
  return false;
}

// --- Comments and blanks ---

void scanBlockComment() {
  const bool keep = keepComments();
  const int32_t firstLine = currentLine;
  uint32_t depth = 1;
  if (keep) {
    emitChar('/');
    emitChar('*');
  }
  Byte c;
  bool inHand = false;
  for (;;) {
    if (!inHand) {
      if (!keep) inputCursor = findCommentStop(inputCursor, inputLimit);
      c = nextChar();
      if (keep && !isLineEnd(c) && c != endOfTextByte) emitChar(c);
    }
    inHand = false;
    if (isLineEnd(c)) {
      countNewline(c);
    } else if (c == endOfTextByte) {
      reportError(msgEndInComment, firstLine);
      return;
    } else if (c == '*' || (c == '/' && optionImage.nestedComments)) {
      Byte d = nextChar();
      if (c == '*') {
        while (d == '\\') {
          if (keep) emitChar(d);
          if (!passSplice()) break;
          d = nextChar();
        }
        if (d == '\\') continue;
      }
      if (keep && !isLineEnd(d) && d != endOfTextByte) emitChar(d);
      if (c == '*' && d == '/') {
        if (--depth == 0) return;
      } else if (c == '/' && d == '*') {
        ++depth;
      } else {
        c = d;
        inHand = true;
      }
    }
  }
}

void scanLineComment() {
  for (;;) {
    if (!anyLeadBytes) inputCursor = findLineCommentStop(inputCursor, inputLimit);
    const Byte c = nextChar();
    if (isLeadByte(c)) {
      nextChar();
    } else if (c == endOfTextByte) {
      reportError(msgEndInComment, currentLine);
      return;
    } else if (isLineEnd(c)) {
      ungetChar();
      return;
    } else if (c == '\\') {
      const Byte d = nextChar();
      if (isLineEnd(d)) {
        reportWarning(warnContinuedComment);
        countNewline(d);
      }
    }
  }
}

bool passComment() {
  const Byte c = nextChar();
  if (c == '*') {
    scanBlockComment();
    return true;
  }
  if (c == '/' && lineCommentsAllowed()) {
    scanLineComment();
    return true;
  }
  ungetChar();
  return false;
}

// Gives back `c`, which was read in front of the byte in hand when the cursor then
// stood at `behind`. The byte in hand is stepped back over so that the caller can
// step back over `c` as well, though the two may come from different frames or
// blocks.
VSP_COLD static Byte readAgain(Byte c, const Byte* behind) {
  ungetTwo(c, behind);
  return nextChar();
}

Byte skipSpaceFrom(Byte c, bool keep) {
  for (;;) {
    if (c == '/') {
      const Byte* const behind = inputCursor;
      const Byte d = nextChar();
      if (d == '*')
        scanBlockComment();
      else if (d == '/' && lineCommentsAllowed())
        scanLineComment();
      else
        return readAgain(c, behind);
    } else if (c == '\\') {
      const Byte* const behind = inputCursor;
      const Byte d = nextChar();
      if (!isLineEnd(d)) return readAgain(c, behind);
      countNewline(d);
    } else if (c != 0) {
      if (tokenClass[c] != classBlank) return c;
      if (c < endOfBodyMark && keep) emitChar(c);
    }
    c = nextChar();
  }
}

Byte skipSpace() {
  const bool keep = keepComments();
  Byte c;
  do {
    c = nextChar();
  } while ((c == ' ' || c == '\t') && !keep);
  if (c > '/' && c != '\\' && c < 0x80) return c;
  return skipSpaceFrom(c, keep);
}

// --- Ends of lines ---

static void ignoreByte(Byte) {}

void skipLine(Byte c) {
  for (;;) {
    switch (c) {
      case '\n':
      case '\r': ungetChar(); return;
      case endOfTextByte: endCurrentFile(); return;
      case '/': {
        const Byte d = nextChar();
        if (d == '*')
          scanBlockComment();
        else if (d == '/')
          scanLineComment();
        else
          ungetChar();
        break;
      }
      case '\\': passSplice(); break;
      case '"':
      case '\'': copyLiteral(false, ignoreByte, c); break;
      default:
        if (isLeadByte(c)) nextChar();
        break;
    }
    if (!anyLeadBytes) inputCursor = findSkippedLineStop(inputCursor, inputLimit);
    c = nextChar();
  }
}

void checkLineEnd(Byte c) {
  c = skipSpaceFrom(c);
  if (!isLineEnd(c) && c != endOfTextByte) {
    if (optionImage.languageLevel == levelAnsi)
      reportIllegalCharacter(c);
    else if (isLeadByte(c))
      nextChar();
    // The first character has gone by, a quote too; the rest is skipped.
    c = ' ';
  }
  skipLine(c);
}
