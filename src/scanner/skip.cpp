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
#include "output/line_markers.h"
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

// The next byte of a block comment. A kept one goes to the output; line ends are
// written with the markers.
static Byte nextCommentByte(bool keep) {
  const Byte c = nextChar();
  if (keep && !isLineEnd(c) && c != endOfTextByte) emitChar(c);
  return c;
}

// The byte after a '*' of a comment, where splices may split the closing pair.
static Byte nextAfterStar(bool keep) {
  Byte c = nextCommentByte(keep);
  while (c == '\\' && passSplice()) c = nextCommentByte(keep);
  return c;
}

// Passes what is in the buffer of a block comment's text.
static void passPlainComment() {
  if (optionImage.nestedComments) {
    input.cursor = findCommentStop(input.cursor, input.limit);
    return;
  }
  const PassedText passed = passCommentText(input.cursor, input.limit);
  input.cursor = passed.end;
  advanceLines(passed.lines);
}

void scanBlockComment() {
  const bool keep = keepComments();
  const int32_t firstLine = currentLine;
  uint32_t depth = 1;
  if (keep) emitRun(asBytes("/*"), 2);
  while (depth != 0) {
    if (fastPaths && !keep) passPlainComment();
    Byte c = nextCommentByte(keep);
    bool paired = false;
    // A byte that fails to close a pair may open the next one.
    while (!paired && (c == '*' || (c == '/' && optionImage.nestedComments))) {
      const Byte first = c;
      c = first == '*' ? nextAfterStar(keep) : nextCommentByte(keep);
      paired = first != c && (c == '*' || c == '/');
      if (paired) depth += c == '*' ? 1 : uint32_t(-1);
    }
    if (paired) continue;
    if (isLineEnd(c)) {
      countNewline(c);
    } else if (c == endOfTextByte) {
      reportError(msgEndInComment, firstLine);
      return;
    }
  }
}

void scanLineComment() {
  for (;;) {
    if (fastPaths && !anyLeadBytes) input.cursor = findLineCommentStop(input.cursor, input.limit);
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

// Gives back `c`, which was read before the current byte when the cursor then
// stood at `after`. The current byte is stepped back over so that the caller can
// step back over `c` as well, though the two may come from different frames or
// blocks.
VSP_COLD static Byte readAgain(Byte c, const Byte* after) {
  ungetTwo(c, after);
  return nextChar();
}

Byte skipSpaceFrom(Byte c, bool keep) {
  for (;;) {
    if (c == '/') {
      const Byte* const after = input.cursor;
      const Byte d = nextChar();
      if (d == '*')
        scanBlockComment();
      else if (d == '/' && lineCommentsAllowed())
        scanLineComment();
      else
        return readAgain(c, after);
    } else if (c == '\\') {
      const Byte* const after = input.cursor;
      const Byte d = nextChar();
      if (!isLineEnd(d)) return readAgain(c, after);
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
  if constexpr (!fastPaths) return skipSpaceFrom(nextChar(), keep);
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
    if (fastPaths && !anyLeadBytes) input.cursor = findSkippedLineStop(input.cursor, input.limit);
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
