// The synchronisation of the output's lines with the source's.
//
// Every line end of every file, in skipped text too, ends a line of the output,
// and the next one begins with a marker that names file and line.

#pragma once

#include "base.h"
#include "options/long_options.h"

// Set at the start of a unit until its first line end has been handled.
extern bool lineStart;

// The marker of the line written last, with the line end before it. It is
// kept for the comment form alone.
struct LineMarker {
  const char* fileName;  // of which file; null if there is no marker
  int32_t line;          // of which line
  uint32_t length;       // of the text
  uint32_t lastDigit;    // index of the number's last digit
  Byte digit;            // that digit; in the text it is out of date
  Byte text[400];
};
extern LineMarker lineMarker;

// Markers are copied in steps of this many bytes, and so write over what follows.
constexpr uint32_t markerStep = 16;

// A line end has been counted: ends the output's line and begins the next with
// its marker, in the form that the switches select.
void syncLine();

// The same for `count` line ends with nothing between them, which are also counted.
void advanceLines(uint32_t count);

// --- The form of other tools ---
//
// A line of its own, # 12 "file" flags, says where the next line stands in the sources; from there on lines
// are counted. So there is one where a file begins, where the includer goes on, and where the count goes
// wrong.

inline bool writesGnuMarkers() {
  return longOptions.lineMarkers == gnuMarkers;
}

// What counts for a file while it is read.
struct GnuFile {
  const char* openName;  // the name that it was opened under
  const char* hostName;  // the same as other programs find it
  bool system;           // it was named as <...>
  int32_t joinedLines;   // line ends of the file that the count of lines lacks: splices in its strings
};

// The file `openName` begins, which lasts as long as the unit; gives the includer's state.
GnuFile enterGnuFile(const char* openName, const char* hostName, bool system);

// An includer goes on.
void reenterGnuFile(const GnuFile& file);

// #line has set the current line.
void restartGnuCount();

// A splice in a string has been left out of the output.
void noteJoinedLine();

// Put all that is known of the markers written aside, and back: what is read in between is only tried out.
void setMarkersAside();
void restoreMarkers();

// Forgets the markers written; the start of a unit.
void resetLineMarkers();
