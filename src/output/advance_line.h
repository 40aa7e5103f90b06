// The end of a line, on its fast path.
//
// Every line end of every file is counted, and ends a line of the output. As a
// rule the next line's marker is that of the line before with another last digit.

#pragma once

#include "base.h"
#include "diag/position.h"
#include "output/line_markers.h"
#include "output/output.h"

// The markers that may follow the kept one with the number's last digit changed
// alone, of which one has room for sure; 0 if the next marker is made in another way.
VSP_INLINE uint32_t readyMarkers() {
  const size_t room = size_t(output.limit - output.cursor);
  if (!fastPaths || lineMarker.fileName != currentFileName || lineMarker.line != currentLine ||
      uint32_t(currentLine) - 1 >= INT32_MAX - 10 || lineStart || lineMarker.length + markerStep >= room)
    return 0;
  return uint32_t('9' - lineMarker.digit);
}

// Writes the kept marker with its next digit to `target`; gives the end. The digit
// is put in afterwards: a wide load of a byte just stored would wait for it.
VSP_INLINE Byte* putNextMarker(Byte* target) {
  const uint32_t length = lineMarker.length;
  for (uint32_t i = 0; i < length; i += markerStep) std::memcpy(target + i, lineMarker.text + i, markerStep);
  target[lineMarker.lastDigit] = ++lineMarker.digit;
  return target + length;
}

// A line end with its pair has been read: counts it and lets the output follow.
VSP_INLINE void advanceLine() {
  const bool ready = readyMarkers() != 0;
  currentLine = messageLine = int32_t(uint32_t(currentLine) + 1);
  ++totalLines;
  if (ready) [[likely]] {
    lineMarker.line = currentLine;
    output.cursor = putNextMarker(output.cursor);
    output.lastChar = '/';
    return;
  }
  syncLine();
}
