#include "sum.h"

word sum(const word* values, unsigned count) {
  word total = 0;
  while (count-- != 0) total += values[count];
  return total;
}
