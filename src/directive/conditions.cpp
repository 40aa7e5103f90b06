// Conditional groups.
//
// A record stands on the stack while a group's text is being read as text. A
// false group is skipped on raw characters, by a loop that takes no tokens: it
// looks at the first significant character of each line, and at the names of
// directives, to count the groups inside. skipPlainLines passes whole lines that hold
// no directive; the loop of skipGroup serves every case.

#include "directive/conditions.h"

#include <cstring>

#include "diag/position.h"
#include "diag/report.h"
#include "directive/directives.h"
#include "expr/expr.h"
#include "input/cond_stack.h"
#include "input/frame.h"
#include "input/guard.h"
#include "macro/define.h"
#include "macro/explain_macro.h"
#include "names/names.h"
#include "options/lead_bytes.h"
#include "options/option_image.h"
#include "output/line_markers.h"
#include "scanner/byte_search.h"
#include "scanner/char_class.h"
#include "scanner/skip.h"
#include "scanner/token.h"

// --- Skipping ---

// The skipper's state.
struct Skip {
  bool groupTaken;             // a group of this #if has been read already
  bool elseAllowed;            // no #else has been met yet
  int32_t nesting;             // groups inside; below 0 the skip ends at this line's end
  ConditionRecord* candidate;  // the guard candidate whose group this is, or null
};

// An #elif of the skipped level. True if its group is to be read.
static bool elifEndsSkip(Skip& skip) {
  // The record may be gone after a condition that runs into the file's end.
  if (skip.candidate != nullptr) skip.candidate->guardName = nullptr;
  skip.candidate = nullptr;
  if (!skip.elseAllowed) {
    reportError(msgMisplacedElif);
    return false;
  }
  return !skip.groupTaken;
}

// An #else of the skipped level.
static void skipElse(Skip& skip) {
  checkLineEnd(' ');
  if (!skip.elseAllowed)
    reportError(msgMisplacedElse);
  else if (!skip.groupTaken)
    --skip.nesting;
  else
    skip.elseAllowed = false;
}

// Steps back over the last byte of the token that ended an evaluation: the line
// end, unless the evaluator stopped short of it.
static void ungetEndOfExpression() {
  if (tokenState.code != tokEndOfFile) ungetIfPossible();
}

// What a directive met by the skipper does. `toLineEnd` is cleared if the rest
// of its line has been read already. True if the skip ends here.
static bool skipDirective(Skip& skip, bool& toLineEnd) {
  processDirective(false, false);
  switch (directiveId) {
    case directiveIf:
    case directiveIfdef:
    case directiveIfndef: ++skip.nesting; break;
    case directiveEndif:
      if (skip.nesting == 0) checkLineEnd(' ');
      --skip.nesting;
      break;
    case directiveElse:
      if (skip.nesting == 0) skipElse(skip);
      break;
    case directiveElif:
      if (skip.nesting == 0 && elifEndsSkip(skip)) {
        const bool taken = evaluateCondition();
        ungetEndOfExpression();
        toLineEnd = false;
        return taken;
      }
      break;
    default: break;
  }
  return false;
}

// The end of the literal whose quote stands at `cursor`, or of the line if that
// comes first; null if it runs into anything that the reader of literals must see.
static const Byte* plainLiteralEnd(const Byte* cursor, const Byte* limit) {
  const Byte quote = *cursor++;
  for (; cursor + 1 < limit; ++cursor) {
    const Byte c = *cursor;
    if (c == quote) return cursor + 1;
    if (isLineEnd(c)) return cursor;
    if (c == endOfTextByte) return nullptr;
    if (c == '\\' && isLineEnd(*++cursor)) return nullptr;
  }
  return nullptr;
}

// The line end that ends a line of skipped text from `cursor` on, with a byte
// after it; null if the line is not wholly in the buffer, or is not plain.
static const Byte* plainLineEnd(const Byte* cursor, const Byte* limit) {
  for (;;) {
    cursor = findSkippedLineStop(cursor, limit);
    if (cursor + 1 >= limit) return nullptr;
    switch (*cursor) {
      case '\n':
      case '\r': return cursor;
      case '"':
      case '\'': cursor = plainLiteralEnd(cursor, limit); break;
      case '/':
        cursor = cursor[1] == '/' || cursor[1] == '*' ? findPlainCommentEnd(cursor, limit) : cursor + 1;
        break;
      case '\\': cursor = isLineEnd(cursor[1]) ? nullptr : cursor + 1; break;
      default: return nullptr;
    }
    if (cursor == nullptr) return nullptr;
  }
}

// True if nothing but blanks stands between `cursor` and the line's start before it,
// where `start` counts as one. Blanks are what skipSpace passes.
static bool beginsLine(const Byte* start, const Byte* cursor) {
  while (cursor > start && (tokenClass[cursor[-1]] == classBlank || cursor[-1] == 0)) --cursor;
  return cursor == start || isLineEnd(cursor[-1]);
}

// The end of the comment at `cursor` in skipped text; null if a directive may follow
// it, or it is not plain.
static const Byte* skippedCommentEnd(const Byte* start, const Byte* cursor, const Byte* limit) {
  const Byte* const end = findPlainCommentEnd(cursor, limit);
  if (end == nullptr || !beginsLine(start, cursor)) return end;
  const Byte* next = end;
  while (*next == ' ' || *next == '\t') ++next;
  const bool mayHide = next >= limit || *next == '#' || *next == '/' || *next == '\\' ||
                       tokenClass[*next] == classBlank || *next == 0;
  return mayHide ? nullptr : end;
}

// The start of the line that `cursor` is on, where `start` counts as one. Says
// whether a quote stands between.
static const Byte* lineStartBefore(const Byte* start, const Byte* cursor, bool& quotes) {
  quotes = false;
  for (; cursor > start && !isLineEnd(cursor[-1]); --cursor)
    if (cursor[-1] == '"' || cursor[-1] == '\'') quotes = true;
  return cursor;
}

// True if two bytes at `cursor`, with one after them, are one line end.
static bool isPairAt(const Byte* cursor, const Byte* limit) {
  return cursor + 2 < limit && isLineEnd(cursor[0]) && isLineEnd(cursor[1]) && cursor[0] != cursor[1];
}

// What a directive does to the nesting of skipped groups.
enum SkipEffect { effectNone, effectOpens, effectCloses, effectTurns };

static SkipEffect effectOfName(const Byte* name, size_t length) {
  const auto is = [=](const char* other) { return std::memcmp(name, other, length) == 0; };
  switch (length) {
    case 2: return is("if") ? effectOpens : effectNone;
    case 4: return is("else") || is("elif") ? effectTurns : effectNone;
    case 5: return is("ifdef") ? effectOpens : is("endif") ? effectCloses : effectNone;
    case 6: return is("ifndef") ? effectOpens : effectNone;
    default: return effectNone;
  }
}

// The line end of a directive in skipped text, whose '#' stands before `cursor`; null if
// it may end the skip, or is not plain. Groups inside are counted.
static const Byte* passSkippedDirective(Skip& skip, const Byte* cursor, const Byte* limit) {
  while (*cursor == ' ' || *cursor == '\t') ++cursor;
  const Byte* const name = cursor;
  while (isNameByte(*cursor)) ++cursor;
  if (cursor == name || cursor >= limit || *cursor == '\\') return nullptr;
  const SkipEffect effect = effectOfName(name, size_t(cursor - name));
  if (skip.nesting == 0 && (effect == effectCloses || effect == effectTurns)) return nullptr;
  const Byte* const end = plainLineEnd(cursor, limit);
  if (end == nullptr) return nullptr;
  if (effect == effectOpens) ++skip.nesting;
  if (effect == effectCloses) --skip.nesting;
  return end;
}

// Skipped text that is being passed.
struct SkippedText {
  const Byte* start;    // counts as the start of a line
  const Byte* limit;    // of the input
  const Byte* settled;  // after the last directive, which may not be read again
  uint32_t lines;       // line ends passed
};

// Where skipped text goes on after the stop at `cursor`; null if the line with the
// stop is a directive that may end the skip, is not plain, or may not be wholly in the
// buffer.
static const Byte* passSkippedStop(Skip& skip, SkippedText& text, const Byte* cursor) {
  if (cursor + 1 >= text.limit || *cursor == endOfTextByte) return nullptr;
  const Byte* const hash = cursor + (isPairAt(cursor, text.limit) ? 2 : 1);
  if (*hash == '#') {
    if (!beginsLine(text.start, hash)) return hash;
    const Byte* const end = passSkippedDirective(skip, hash + 1, text.limit);
    if (end == nullptr) return nullptr;
    if (isLineEnd(*cursor)) ++text.lines;
    text.settled = end;
    return end;
  }
  if (*cursor != '/') return nullptr;
  // A quote matters only where it may make a comment a part of a literal. In a line
  // comment a block comment that ends on its line does no harm.
  bool quotes;
  const Byte* const line = lineStartBefore(text.start, cursor, quotes);
  return quotes ? plainLineEnd(line, text.limit) : skippedCommentEnd(line, cursor, text.limit);
}

// Skips whole lines straight from the buffer, as far as they hold nothing unusual and
// no directive that may end the skip. A line that is not plain is left untouched for
// the ordinary way.
VSP_HOT static void skipPlainLines(Skip& skip) {
  if (input.top == nullptr || anyLeadBytes || keepComments() || optionImage.nestedComments ||
      input.pendingText != nullptr)
    return;
  const Byte* cursor = input.cursor;
  SkippedText text{cursor, input.limit, cursor, 0};
  const Byte* next = cursor;
  if (*cursor == '#') {
    next = passSkippedDirective(skip, cursor + 1, text.limit);
    if (next == nullptr) return;
    text.settled = next;
  }
  while (next != nullptr) {
    const PassedText passed = passSkippedText(next, text.limit);
    text.lines += passed.lines;
    cursor = passed.end;
    next = passSkippedStop(skip, text, cursor);
  }
  const bool paired = isPairAt(cursor, text.limit);
  if (cursor + 1 < text.limit && isLineEnd(cursor[paired]) && cursor[paired + 1] == '#') {
    cursor += paired + 1;
    ++text.lines;
  } else {
    bool quotes;
    cursor = lineStartBefore(text.settled, cursor, quotes);
  }
  input.cursor = cursor;
  advanceLines(text.lines);
}

// Skips lines up to the directive that ends the skip; directiveId says which one
// it was. The end of its line stays unread. `candidate` is the record of a guard
// candidate whose group is skipped.
static void skipGroup(bool groupTaken, bool elseAllowed, ConditionRecord* candidate = nullptr) {
  Skip skip{groupTaken, elseAllowed, 0, candidate};
  const int32_t startLine = currentLine;
  for (;;) {
    if (fastPaths) skipPlainLines(skip);
    Byte c = skipSpaceFrom(nextChar());
    if (c == endOfTextByte) {
      reportError(msgEndInConditional, startLine);
      directiveId = directiveNone;
      endCurrentFile();
      return;
    }
    bool toLineEnd = true;
    if (c == '#') {
      if (skipDirective(skip, toLineEnd)) return;
      if (toLineEnd) c = nextChar();
    }
    if (toLineEnd) skipLine(c);
    c = nextChar();
    if (skip.nesting < 0) {
      ungetChar();
      return;
    }
    if (isLineEnd(c)) countNewline(c);
  }
}

// Pushes the record of the group at which a skip has stopped, if one begins.
static void pushStoppedGroup() {
  if (directiveId == directiveElif)
    pushCondition(conditionOpen);
  else if (directiveId == directiveElse)
    pushCondition(conditionElse);
}

// Reads the group if `holds`, else skips to the one that is read.
static void enterGroup(bool holds) {
  if (holds) {
    pushCondition(conditionOpen);
    return;
  }
  skipGroup(false, true);
  pushStoppedGroup();
}

// --- #if ---

void ifDirective(Byte) {
  ungetChar();
  const bool holds = evaluateCondition();
  ungetEndOfExpression();
  enterGroup(holds);
}

// The #endif of the guard candidate on top has been read, `c` is the character
// after it: looks whether the rest of the file is blank, and notes the guard if so.
static void endCandidate(Byte c) {
  const ConditionRecord candidate = *input.condStack;
  popCondition();
  const int32_t lastLine = messageLine;
  checkLineEnd(c);
  c = nextChar();
  while (isLineEnd(c)) {
    countNewline(c);
    c = skipSpaceFrom(0);
  }
  if (c == endOfTextByte) {
    addGuard(currentFileName, candidate.guardName);
    if (input.currentFileFrame != nullptr) {
      input.currentFileFrame->guardFirstLine = candidate.guardLine;
      input.currentFileFrame->guardLastLine = lastLine;
    }
    endCurrentFile();
  } else if (c == '#') {
    processDirective(false, true);
  } else {
    ungetChar();
  }
}

// Skips the false group of the candidate on top. At its #endif the guard logic
// sees the end of the group; at any other place there is no candidate. An #elif
// that ran into the end of its file has taken the record along.
static void skipCandidate() {
  const uint32_t depth = input.includeDepth;
  skipGroup(false, true, input.condStack);
  if (directiveId == directiveEndif) {
    endifDirective(' ');
    return;
  }
  if (input.includeDepth == depth) popCondition();
  pushStoppedGroup();
}

void firstIfInFile() {
  guards.notDefinedArmed = true;
  guards.notDefinedEntry = nullptr;
  ungetChar();
  const bool holds = evaluateCondition();
  ungetEndOfExpression();
  ConditionRecord* const record = pushCondition(conditionOpen);
  if (guards.notDefinedEntry != nullptr) {
    record->guardName = asChars(guards.notDefinedEntry->spelling());
    record->guardLine = messageLine;
  }
  guards.notDefinedArmed = false;
  guards.notDefinedEntry = nullptr;
  if (holds) return;
  skipCandidate();
}

// --- #ifdef and #ifndef ---

// Reads the name of an #ifdef or #ifndef. False after a report: the group then
// counts as true.
static bool readConditionName(Byte c, const char* directive, Name& name) {
  if (!isNameStart(c)) {
    reportError(msgBadDirectiveSyntax, directive);
    skipLine(c);
    pushCondition(conditionOpen);
    return false;
  }
  name = readMacroName(c);
  checkLineEnd(c);
  return true;
}

// Answers the question of a directive, `asked` with its '#' and a blank.
static bool answerQuestion(const char* asked, const Name& name) {
  const bool defined = isDefined(name);
  if (explaining) [[unlikely]]
    explainAskedName(asked, name, defined);
  return defined;
}

void ifdefDirective(Byte c) {
  Name name;
  if (readConditionName(c, "ifdef", name)) enterGroup(answerQuestion("#ifdef ", name));
}

void ifndefDirective(Byte c) {
  Name name;
  if (readConditionName(c, "ifndef", name)) enterGroup(!answerQuestion("#ifndef ", name));
}

void firstIfndefInFile(Byte c) {
  Name name;
  if (!readConditionName(c, "ifndef", name)) return;
  const bool defined = answerQuestion("#ifndef ", name);
  ConditionRecord* const record = pushCondition(conditionOpen);
  record->guardName = asChars(findEntry(name)->spelling());
  record->guardLine = messageLine;
  if (!defined) return;
  skipCandidate();
}

// --- #else, #elif, #endif ---

// True if an #else or #elif may follow the group being read.
static bool inOpenGroup() {
  return input.condStack != nullptr && input.condStack->state == conditionOpen;
}

void elseDirective(Byte c) {
  if (!inOpenGroup()) {
    reportError(msgMisplacedElse);
    skipLine(c);
    return;
  }
  input.condStack->guardName = nullptr;
  checkLineEnd(c);
  skipGroup(false, false);
  popCondition();
}

void elifDirective(Byte c) {
  if (!inOpenGroup()) {
    reportError(msgMisplacedElif);
    skipLine(c);
    return;
  }
  input.condStack->guardName = nullptr;
  skipLine(c);
  skipGroup(true, true);
  popCondition();
}

void endifDirective(Byte c) {
  if (input.condStack == nullptr) {
    reportError(msgMisplacedEndif);
    skipLine(c);
    return;
  }
  if (input.condStack->guardName != nullptr) {
    endCandidate(c);
    return;
  }
  checkLineEnd(c);
  popCondition();
}
