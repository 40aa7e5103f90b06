// The reports on headers, from the records that the input stack kept.

#include "driver/reports.h"

#include <charconv>
#include <cstring>

#include "diag/position.h"
#include "diag/report.h"
#include "input/guard.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "output/output.h"
#include "platform/files.h"

// Builds one line of a report piece by piece, in a block that fits it.
struct LineBuilder {
  char* text;
  size_t length;
};

constexpr size_t numberRoom = 16;  // for a number of 32 bits and its sign

static void add(LineBuilder& line, const char* piece) {
  const size_t length = std::strlen(piece);
  std::memcpy(line.text + line.length, piece, length);
  line.length += length;
}

static void add(LineBuilder& line, int64_t value) {
  char* const start = line.text + line.length;
  line.length += size_t(std::to_chars(start, start + numberRoom, value).ptr - start);
}

static LineBuilder beginLine(size_t textRoom, size_t numbers) {
  return {static_cast<char*>(memAlloc(uint32_t(textRoom + numbers * numberRoom))), 0};
}

static void emitNumber(uint32_t value) {
  char digits[40];
  *std::to_chars(digits, digits + sizeof digits - 1, value).ptr = 0;
  emitText(digits);
}

// Writes one line of the tree.
static void reportHeader(uint32_t depth, const HeaderRecord* record) {
  LineBuilder line = beginLine(2 * size_t{depth} + std::strlen(record->name) + 64, 3);
  std::memset(line.text, ' ', 2 * size_t{depth} + 2);
  line.length = 2 * size_t{depth} + 2;
  add(line, record->name);
  add(line, ": included:");
  add(line, int64_t{record->includeCount});
  add(line, ", lines:");
  add(line, int64_t{record->lines});
  add(line, "\\");
  add(line, int64_t{int32_t(record->endTotal - record->startTotal)});
  add(line, "\n");
  emitText(asBytes(line.text), line.length);
  memFree(line.text);
}

// Writes the tree below a header. A subtree appears under its first includer
// alone, which is also what ends the recursion of files that include each other.
static void reportHeaders(uint32_t depth, const HeaderChild* child) {
  for (; child != nullptr; child = child->next) {
    HeaderRecord* const record = child->record;
    reportHeader(depth, record);
    const HeaderChild* const children = record->children;
    record->children = nullptr;
    if (children != nullptr) reportHeaders(depth + 1, children);
  }
}

void reportStatistics() {
  if ((optionImage.outputFlags & headerStatisticsFlag) == 0 || guards.headerList == nullptr) return;
  emitText("\n\n/*\nFile: ");
  emitText(guards.headerList->name);
  emitText("  Total lines compiled: ");
  emitNumber(totalLines);
  emitText("\n");
  reportHeaders(0, guards.headerList->children);
  emitText("\n*/\n");
}

void reportGuards() {
  if ((optionImage.outputFlags & guardDetailsFlag) == 0 || guards.headerList == nullptr) return;
  flushConsole();
  for (const HeaderRecord* record = guards.headerList->next; record != nullptr; record = record->next) {
    LineBuilder line = beginLine(std::strlen(record->name) + 32, 2);
    add(line, "<");
    add(line, record->name);
    if (record->guardFirstLine != 0) {
      add(line, "> FASTGUARD(");
      add(line, int64_t{record->guardFirstLine});
      add(line, ",");
      add(line, int64_t{record->guardLastLine});
      add(line, ")\n");
    } else {
      add(line, "> NOGUARD\n");
    }
    const bool written = writeErrorStream(line.text, line.length);
    memFree(line.text);
    if (!written) reportFatal(msgWriteFailed);
  }
}
