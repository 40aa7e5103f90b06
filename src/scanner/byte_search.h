// Searches for the few bytes that end a run of text nobody looks at.
//
// Sixteen bytes at a time where the processor offers it, with a scalar twin.
// Wide search pays only where stops are rare: comments and skipped lines.

#pragma once

#include "base.h"

// The first byte of [cursor, limit) that is '*', '/', a line end or Ctrl-Z, or
// `limit`: what block comments stop at.
const Byte* findCommentStop(const Byte* cursor, const Byte* limit);

// The first byte of [cursor, limit) that is a line end, '\\', Ctrl-Z, or `limit`:
// what line comments stop at, without double-byte characters.
const Byte* findLineCommentStop(const Byte* cursor, const Byte* limit);

// The first byte of [cursor, limit) that is a line end, '\\', '/', a quote or
// Ctrl-Z, or `limit`: what skipped lines stop at, without double-byte characters.
const Byte* findSkippedLineStop(const Byte* cursor, const Byte* limit);

// Text passed, and the line ends in it.
struct PassedText {
  const Byte* end;
  uint32_t lines;
};

// Passes the text of a block comment from `cursor` on: up to a '*' with '/' or '\\'
// after it, to Ctrl-Z, or to the last byte before `limit`. Two different line ends side
// by side are one, and are not divided. A text of mixed line ends may end early.
PassedText passCommentText(const Byte* cursor, const Byte* limit);

// The same for skipped text: up to a block comment, a splice, Ctrl-Z, or the blank or
// line end before a '#'. What a line comment holds is nothing else.
PassedText passSkippedText(const Byte* cursor, const Byte* limit);

// The end of the comment that begins at `cursor`, with its two bytes before
// `limit`: after a block comment's close, or at a line comment's line end. Null
// if it does not end on its line and before `limit`, or if it is a line
// comment with a backslash. Comments do not nest here.
const Byte* findPlainCommentEnd(const Byte* cursor, const Byte* limit);

// The first byte of [cursor, limit) that is '"', '\\', Ctrl-Z, or `limit`: what
// strings stop at, without double-byte characters.
const Byte* findStringStop(const Byte* cursor, const Byte* limit);
