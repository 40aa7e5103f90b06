// The position of the reading.

#include "diag/position.h"

constinit const char* currentFileName = nullptr;
constinit int32_t currentLine = 0;
constinit int32_t messageLine = 0;
constinit uint32_t totalLines = 0;

void resetPosition() {
  currentFileName = nullptr;
  currentLine = messageLine = 0;
  totalLines = 0;
}
