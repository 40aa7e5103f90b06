// The end of a line, on its fast path.
//
// Every line end of every file is counted, and ends a line of the output. As a
// rule the next line's marker is that of the line before with another last digit.

#pragma once

#include "base.h"
#include "diag/position.h"
#include "output/line_markers.h"
#include "output/output.h"

// A line end with its pair has been read: counts it and lets the output follow.
VSP_INLINE void advanceLine() {
  const uint32_t line = uint32_t(currentLine) + 1;
  currentLine = messageLine = int32_t(line);
  ++totalLines;
  const size_t room = size_t(output.limit - output.cursor);
  if (fastPaths && lineMarker.fileName == currentFileName && uint32_t(lineMarker.line) + 1 == line &&
      int32_t(line) > 0 && !lineStart && lineMarker.length < room) [[likely]] {
    Byte* const last = lineMarker.text + lineMarker.lastDigit;
    if (*last != '9') [[likely]] {
      ++*last;
      lineMarker.line = int32_t(line);
      copyRun(output.cursor, lineMarker.text, lineMarker.length);
      output.cursor += lineMarker.length;
      output.lastChar = '/';
      return;
    }
  }
  syncLine();
}
